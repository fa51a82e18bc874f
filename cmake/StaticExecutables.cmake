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
