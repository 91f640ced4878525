# Files that `cmake --install` installs: the program, its manual, completions and licence.
include(GNUInstallDirs)

install(TARGETS quorvel RUNTIME)
install(FILES docs/quorvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES completion/quorvel.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorvel)
install(FILES completion/_quorvel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
