# What `cpack` makes: a Debian package with the programs alone, and an archive of everything. scripts/package
# is the command for it.

set(CPACK_GENERATOR TGZ)
if(NOT APPLE)
    list(PREPEND CPACK_GENERATOR DEB)
    include(debian/Debian.cmake)
endif()

string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" platform)
set(CPACK_PACKAGE_NAME havrick)
set(CPACK_PACKAGE_VENDOR "The Brellin authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_PACKAGE_FILE_NAME "havrick-${PROJECT_VERSION}-${platform}")
set(CPACK_PROJECT_CONFIG_FILE "${CMAKE_CURRENT_SOURCE_DIR}/EachFormat.cmake")
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
