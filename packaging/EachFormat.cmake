# Read by cpack once for each format.

if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_CUSTOM_INSTALL_VARIABLES HAVRICK_FINAL_PREFIX=/usr)
    # "debian" comes last: it rearranges what "programs" installed.
    list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 build_directory)
    set(projects "")
    foreach(component IN ITEMS programs debian)
        list(APPEND projects "${build_directory}" Havrick ${component} /)
    endforeach()
    set(CPACK_INSTALL_CMAKE_PROJECTS "${projects}")
else()
    # The usual place to unpack an archive over.
    set(CPACK_CUSTOM_INSTALL_VARIABLES HAVRICK_FINAL_PREFIX=/usr/local)
endif()
