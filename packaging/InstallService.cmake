# Part of the installation script: makes one file from its template and installs it.

# A package is put together in one place and unpacked in another; the packager says where.
if(NOT DEFINED HAVRICK_FINAL_PREFIX)
    set(HAVRICK_FINAL_PREFIX "${CMAKE_INSTALL_PREFIX}")
endif()
get_filename_component(prefix "${HAVRICK_FINAL_PREFIX}" ABSOLUTE)
get_filename_component(executable "${bin_directory}/havrick" ABSOLUTE BASE_DIR "${prefix}")

if(escaping STREQUAL "xml")
    string(REPLACE "&" "&amp;" executable "${executable}")
    string(REPLACE "<" "&lt;" executable "${executable}")
else()
    string(REPLACE "%" "%%" executable "${executable}")
endif()

configure_file("${template}" "${file}" @ONLY)
file(INSTALL "${file}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${destination}")
