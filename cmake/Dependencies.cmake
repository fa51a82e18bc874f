# Finds the third-party libraries. Each miss names the library and the script that installs it.
#
# Static archives are preferred (HAVRICK_STATIC_DEPENDENCIES): the executable is then one file to copy and
# starts in half the time, since the dynamic linker has libc alone to load.

set(missing_hint "is missing: run scripts/setup, which installs it")

if(HAVRICK_STATIC_DEPENDENCIES)
    set(Boost_USE_STATIC_LIBS ON)
endif()
# Boost's own package configuration where there is one (CMP0167), CMake's search module otherwise.
find_package(Boost 1.75 QUIET CONFIG COMPONENTS json)
if(NOT Boost_FOUND)
    unset(Boost_USE_STATIC_LIBS)
    find_package(Boost 1.75 QUIET COMPONENTS json)
endif()
if(NOT TARGET Boost::json)
    message(FATAL_ERROR "Boost.JSON 1.75 or newer ${missing_hint}")
endif()

find_package(Threads REQUIRED)
find_package(fmt QUIET)
if(NOT TARGET fmt::fmt-header-only)
    message(FATAL_ERROR "{fmt} ${missing_hint}")
endif()

# An imported target for a library that brings no CMake package of its own.
function(havrick_find_library target header library archive label)
    find_path(${library}_INCLUDE_DIR ${header})
    set(names ${library})
    if(HAVRICK_STATIC_DEPENDENCIES)
        set(names ${archive} ${library})
    endif()
    find_library(${library}_LIBRARY NAMES ${names})
    if(NOT ${library}_INCLUDE_DIR OR NOT ${library}_LIBRARY)
        message(FATAL_ERROR "${label} ${missing_hint}")
    endif()
    add_library(${target} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES
        IMPORTED_LOCATION "${${library}_LIBRARY}"
        INTERFACE_INCLUDE_DIRECTORIES "${${library}_INCLUDE_DIR}")
endfunction()

havrick_find_library(Havrick::sodium sodium.h sodium libsodium.a "libsodium")
target_link_libraries(Havrick::sodium INTERFACE Threads::Threads)
havrick_find_library(Havrick::sqlite3 sqlite3.h sqlite3 libsqlite3.a "SQLite 3")
target_link_libraries(Havrick::sqlite3 INTERFACE Threads::Threads ${CMAKE_DL_LIBS} m)

find_path(UTF8CPP_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp)
if(NOT UTF8CPP_INCLUDE_DIR)
    message(FATAL_ERROR "utf8cpp ${missing_hint}")
endif()
add_library(Havrick::utf8cpp INTERFACE IMPORTED GLOBAL)
target_include_directories(Havrick::utf8cpp SYSTEM INTERFACE "${UTF8CPP_INCLUDE_DIR}")

havrick_find_library(Havrick::utf8proc utf8proc.h utf8proc libutf8proc.a "utf8proc")

# Homebrew keeps its ncurses apart from the system's, which is old. Debian splits the part that knows terminals off.
if(APPLE)
    find_program(brew brew)
    if(brew)
        execute_process(COMMAND "${brew}" --prefix ncurses OUTPUT_VARIABLE ncurses_prefix
                        OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        list(APPEND CMAKE_PREFIX_PATH "${ncurses_prefix}")
    endif()
endif()
havrick_find_library(Havrick::ncursesw curses.h ncursesw libncursesw.a "ncurses (wide)")
target_compile_definitions(Havrick::ncursesw INTERFACE NCURSES_WIDECHAR=1 NCURSES_NOMACROS=1)
# The two have to be of one kind.
if(ncursesw_LIBRARY MATCHES "\\.a$")
    find_library(tinfo_LIBRARY NAMES libtinfo.a)
else()
    find_library(tinfo_LIBRARY NAMES tinfo)
endif()
if(tinfo_LIBRARY)
    target_link_libraries(Havrick::ncursesw INTERFACE "${tinfo_LIBRARY}")
endif()
