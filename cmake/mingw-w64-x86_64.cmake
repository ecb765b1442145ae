# Cross-builds the 64-bit Windows plug-in DLL, which the tests run under Debian's wine64
# with Debian's MinGW-w64 (scripts/setup-debian.sh --cross installs it):
#   cmake -S . -B build/mingw64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)

# The "-win32" compilers use native Windows threads: nothing in the DLL needs libwinpthread.
if(NOT EXISTS /usr/bin/${triplet}-g++-win32)
  message(FATAL_ERROR "${triplet}-g++-win32 not found: run scripts/setup-debian.sh --cross")
endif()
set(CMAKE_C_COMPILER ${triplet}-gcc-win32)
set(CMAKE_CXX_COMPILER ${triplet}-g++-win32)
set(CMAKE_RC_COMPILER ${triplet}-windres)
set(CMAKE_DLLTOOL ${triplet}-dlltool)

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
