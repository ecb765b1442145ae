# Cross-builds the 32-bit Windows plug-in DLL (what the modeller loads)
# with Debian's MinGW-w64 (scripts/setup-debian.sh --cross installs it):
#   cmake -S . -B build/mingw32 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)
