# What `cmake --install` does beyond copying. Three components: "programs" is all that a user needs, "launchd"
# the agent for macOS, "development" the library for other projects. Packages pick from them.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)

# Nobody who installs a release build wants its symbols, so every installation is as with --strip.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    install(CODE "set(CMAKE_INSTALL_DO_STRIP TRUE)" ALL_COMPONENTS)
endif()
