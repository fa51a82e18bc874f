# HAVRICK_PORTABLE: executables that need nothing of the machine but its kernel. They are position-independent, as
# every other executable of a distribution is. The option gives way where it cannot be had: on macOS, beside
# sanitizers, and without a static C library or static archives of the others.

set(havrick_is_portable OFF)
if(HAVRICK_PORTABLE AND HAVRICK_STATIC_DEPENDENCIES AND NOT HAVRICK_SANITIZERS AND NOT APPLE)
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_FLAGS -fPIE)
    set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie)
    set(CMAKE_REQUIRED_LIBRARIES Havrick::sqlite3 Havrick::sodium Boost::json)
    check_cxx_source_compiles("#include <sqlite3.h>
        int main() { return sqlite3_threadsafe(); }" HAVRICK_LINKS_STATICALLY)
    # Where the executable lies in memory has to be added to thousands of addresses at every start; packed, they are a
    # tenth of the size. A linker may know of that before the C library does, so such a program has to be run.
    if(HAVRICK_LINKS_STATICALLY AND NOT CMAKE_CROSSCOMPILING)
        include(CheckCXXSourceRuns)
        list(APPEND CMAKE_REQUIRED_LINK_OPTIONS -Wl,-z,pack-relative-relocs)
        check_cxx_source_runs("extern const char* const volatile words[] = {\"a\", \"b\"};
            int main(int count, char**) { return words[count][0] == 'b' ? 0 : 1; }" HAVRICK_RUNS_WITH_PACKED_RELOCATIONS)
    endif()
    unset(CMAKE_REQUIRED_FLAGS)
    unset(CMAKE_REQUIRED_LINK_OPTIONS)
    unset(CMAKE_REQUIRED_LIBRARIES)
    set(havrick_is_portable ${HAVRICK_LINKS_STATICALLY})
endif()
if(havrick_is_portable)
    # SQLite can load extensions, which nothing here asks it to do; the linker warns of that at each link.
    include(CheckLinkerFlag)
    check_linker_flag(CXX -Wl,--no-warnings HAVRICK_LINKER_CAN_BE_QUIET)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    add_compile_definitions(HAVRICK_STATIC_LIBC)
endif()

# What every such executable is linked with.
# Not with -static-libstdc++ or -static-libgcc: both together make an executable that dies at its start.
set(havrick_static_link_options -static-pie
    $<$<BOOL:${HAVRICK_RUNS_WITH_PACKED_RELOCATIONS}>:-Wl,-z,pack-relative-relocs>
    $<$<BOOL:${HAVRICK_LINKER_CAN_BE_QUIET}>:-Wl,--no-warnings>)
