# Cross-builds the 64-bit Windows plug-in DLL, which the tests run under Debian's wine64
# with Debian's MinGW-w64 (scripts/setup-debian.sh --cross installs it):
#   cmake -S . -B build/mingw64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
