# The Debian package: what it needs, and what Debian wants to be elsewhere.

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Brellin authors <maintainers@brellin.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
string(CONCAT CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Havrick tells AI coding agents (over the Model Context Protocol) and people\n"
    "which Claude Code sessions run on this machine across every account, what\n"
    "each is called, and at which address it can be reached. It can keep a\n"
    "history of them, and watch processes, commands and TCP ports.")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# libc6 and its version are found out from the executables.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "procps, lsof")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

install(FILES debian/changelog DESTINATION share/doc/havrick COMPONENT debian EXCLUDE_FROM_ALL)
install(SCRIPT debian/Rearrange.cmake COMPONENT debian EXCLUDE_FROM_ALL)
