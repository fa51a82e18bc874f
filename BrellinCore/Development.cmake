# The library for other projects: find_package(BrellinCore), then link brellin::BrellinCore.

set(package_directory "${CMAKE_INSTALL_LIBDIR}/cmake/BrellinCore")

install(TARGETS BrellinCore EXPORT BrellinCoreTargets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
# Without the headers that only the library's own sources include.
install(DIRECTORY ./ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/BrellinCore" COMPONENT development
        FILES_MATCHING PATTERN "*.h"
        PATTERN JsonSelection.h EXCLUDE
        PATTERN ReportText.h EXCLUDE
        PATTERN Statements.h EXCLUDE)
install(EXPORT BrellinCoreTargets NAMESPACE brellin:: DESTINATION "${package_directory}" COMPONENT development)

include(CMakePackageConfigHelpers)
configure_package_config_file(BrellinCoreConfig.cmake.in BrellinCoreConfig.cmake
                              INSTALL_DESTINATION "${package_directory}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/BrellinCoreConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/BrellinCoreConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/BrellinCoreConfigVersion.cmake"
        DESTINATION "${package_directory}" COMPONENT development)
