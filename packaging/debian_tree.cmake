# Adapts the installed tree of a package to Debian's policy: compresses the manual and the changelog,
# replaces the licence with a copyright file, and moves zsh's completion to the folder for packages.
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
set(papers ${share}/doc/quorvel)

# Compresses a file without its name and time, so that the package is reproducible.
function(compress file)
    execute_process(COMMAND gzip -9n ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

compress(${share}/man/man1/quorvel.1)

file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/changelog ${papers}/changelog)
compress(${papers}/changelog)
file(CHMOD ${papers}/changelog.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

# An empty line in a field of the copyright file is written as ".".
file(READ ${papers}/LICENSE licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n\n(.*)$" all "${licence}")
set(holder "${CMAKE_MATCH_1}")
string(STRIP "${CMAKE_MATCH_2}" terms)
if(holder STREQUAL "" OR terms STREQUAL "")
    message(FATAL_ERROR "no copyright line and terms in ${papers}/LICENSE")
endif()
string(REPLACE "\n\n" "\n.\n" terms "${terms}")
string(REPLACE "\n" "\n " terms "${terms}")
file(WRITE ${papers}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: quorvel

Files: *
Copyright: ${holder}
License: Expat

License: Expat
 ${terms}
")
file(CHMOD ${papers}/copyright PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(REMOVE ${papers}/LICENSE)

file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)
