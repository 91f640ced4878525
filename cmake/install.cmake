# Files that `cmake --install` installs: the programs, their manuals, completions, documents and the
# licence. The documents are in the folders of the sources, so that the links between them work.

install(TARGETS quorvel RUNTIME)
install(FILES docs/quorvel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES completion/quorvel.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorvel)
install(FILES completion/_quorvel DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES docs/behaviour.md docs/coming-from.md docs/containers.md docs/convert.md docs/cookbook.md
    docs/page.png docs/releasing.md docs/reports.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
install(PROGRAMS examples/list-volumes DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

if(QUORVEL_CONVERT)
    install(TARGETS quorvel-convert RUNTIME)
    install(FILES docs/quorvel-convert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES completion/quorvel-convert.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quorvel-convert)
    install(FILES completion/_quorvel-convert
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(PROGRAMS examples/volume-timeline DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
endif()
