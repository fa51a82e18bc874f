# How our own targets are compiled and linked. Third-party code never sees these flags.

include(CheckIPOSupported)
check_ipo_supported(RESULT ipo_supported OUTPUT ipo_reason LANGUAGES CXX)

add_library(havrick_build_options INTERFACE)
target_compile_options(havrick_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    # A record built with designated initialisers leaves the rest at its defaults on purpose.
    -Wno-missing-field-initializers)

if(HAVRICK_SANITIZERS)
    # The check of virtual tables opens a pipe, and takes the tests without descriptors for faults.
    add_compile_options(-fsanitize=${HAVRICK_SANITIZERS} -fno-sanitize=vptr -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${HAVRICK_SANITIZERS})
endif()

# Warnings for every target; link-time optimisation for release builds.
function(havrick_target target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:havrick_build_options>)
    if(ipo_supported AND CMAKE_BUILD_TYPE STREQUAL "Release")
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
    endif()
endfunction()

# What a shipped executable adds: the C++ runtime inside it, so that libc is all it needs at run time.
function(havrick_executable target)
    havrick_target(${target})
    if(havrick_is_portable)
        # Not with -static-libstdc++ or -static-libgcc: both together make an executable that dies at its start.
        target_link_options(${target} PRIVATE -static-pie
            $<$<BOOL:${HAVRICK_LINKER_CAN_BE_QUIET}>:-Wl,--no-warnings>)
    elseif(HAVRICK_STATIC_DEPENDENCIES AND NOT HAVRICK_SANITIZERS AND NOT APPLE)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
endfunction()
