# The library for other projects: find_package(BrellinCore), then link brellin::BrellinCore.

set(package_directory "${CMAKE_INSTALL_LIBDIR}/cmake/BrellinCore")

# Objects for link-time optimisation suit one version of one compiler. With GCC they hold machine code besides,
# and only that is installed; elsewhere the library does without.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(BrellinCore PRIVATE $<$<CONFIG:Release>:-ffat-lto-objects>)
    set(make_portable "execute_process(COMMAND \"${CMAKE_OBJCOPY}\" --wildcard
        \"--remove-section=.gnu.lto_*\" \"--remove-section=.gnu.debuglto_*\" --strip-symbol=__gnu_lto_slim
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libBrellinCore.a\"
        COMMAND_ERROR_IS_FATAL ANY)")
else()
    set_target_properties(BrellinCore PROPERTIES INTERPROCEDURAL_OPTIMIZATION OFF)
endif()

install(TARGETS BrellinCore EXPORT BrellinCoreTargets
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(CODE "${make_portable}" COMPONENT development)
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
