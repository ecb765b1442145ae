# Shared by the two MinGW-w64 toolchain files, which set CMAKE_SYSTEM_PROCESSOR and triplet.
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
