# Cross-compiles for Windows x86-64 with Debian's MinGW-w64 compiler. The libraries are those that
# scripts/windows_libraries made.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
    list(APPEND CMAKE_FIND_ROOT_PATH "$ENV{XDG_CACHE_HOME}/zwmgmt/windows")
else()
    list(APPEND CMAKE_FIND_ROOT_PATH "$ENV{HOME}/.cache/zwmgmt/windows")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(OPENSSL_USE_STATIC_LIBS ON)
