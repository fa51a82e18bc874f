# How our own targets are compiled and linked. Third-party code never sees these flags.

add_library(havrick_build_options INTERFACE)
target_compile_options(havrick_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror
    # A record built with designated initialisers leaves the rest at its defaults on purpose.
    -Wno-missing-field-initializers
    # Lets the linker leave out every function that nothing calls (below).
    $<$<CONFIG:Release>:-ffunction-sections> $<$<CONFIG:Release>:-fdata-sections>)

if(HAVRICK_SANITIZERS)
    # To find out whether an address may be read, UBSan's vptr check writes it to a pipe. Some tests leave a program
    # no file descriptor for a pipe; the check would then report a fault where there is none.
    add_compile_options(-fsanitize=${HAVRICK_SANITIZERS} -fno-sanitize=vptr -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${HAVRICK_SANITIZERS})
endif()

# Warnings for every target.
function(havrick_target target)
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:havrick_build_options>)
endfunction()

# What a shipped executable adds: nothing that it does not call, and the C++ runtime inside it, so that libc is all
# it needs at run time.
function(havrick_executable target)
    havrick_target(${target})
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
        target_link_options(${target} PRIVATE $<IF:$<BOOL:${APPLE}>,LINKER:-dead_strip,LINKER:--gc-sections>)
    endif()
    if(havrick_is_portable)
        target_link_options(${target} PRIVATE ${havrick_static_link_options})
    elseif(HAVRICK_STATIC_DEPENDENCIES AND NOT HAVRICK_SANITIZERS AND NOT APPLE)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
endfunction()
