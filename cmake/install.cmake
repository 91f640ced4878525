# Files that `cmake --install` installs: the programs, their manuals, completions and the licence.
include(GNUInstallDirs)

install(TARGETS quorvel RUNTIME)
install(FILES docs/quorvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES completion/quorvel.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorvel)
install(FILES completion/_quorvel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

if(QUORVEL_CONVERT)
    install(TARGETS quorvel-convert RUNTIME)
    install(FILES docs/quorvel-convert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES completion/quorvel-convert.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorvel-convert)
    install(FILES completion/_quorvel-convert
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
endif()
