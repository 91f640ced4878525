# The Debian package, which `cpack` builds in the build folder. It is reproducible if
# SOURCE_DATE_EPOCH is set; scripts/package sets it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian_tree.cmake)

set(CPACK_PACKAGE_CONTACT "The quorvel developers <quorvel@example.org>")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"list directories of an NTFS volume straight from a disk image
Reads NTFS from raw disk images, device nodes and chains of hosted sparse VMDK
files by itself, without the driver of any operating system, and never writes
to its source. Lists names, sizes, MFT entry and sequence numbers,
timestamps, alternate data streams and object identifiers as a table, delimited
rows, an XML document or bare paths, also where a volume is damaged.")

include(CPack)
