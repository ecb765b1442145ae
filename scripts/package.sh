#!/usr/bin/env bash
# Builds every download into build/packages/ and lists what each holds:
#   reelwright_VERSION_amd64.deb       the command for Debian and Ubuntu: /usr/bin/reelwright, its
#                                      manual page, bash completion, LICENSE and README.md
#   reelwright-VERSION-Linux.tar.gz    the same files under bin/ and share/, for any Linux
#   reelwright-VERSION-win32.zip       the 32-bit plug-in msReelwright.dll, the 32-bit command
#                                      reelwright.exe, INSTALL.txt and LICENSE
#   reelwright-VERSION-blender.zip     the Blender add-on, the folder reelwright/: an extension for
#                                      Blender 4.2 and later (blender_manifest.toml), and an
#                                      add-on for Blender 3.4 to 4.1 (bl_info)
# The builds are Release builds in the trees scripts/wine-test.sh uses (build/linux-ref,
# build/mingw32), configured the same way, so after the tests this only links and packs.
# Installs what it needs first (Debian). Usage: scripts/package.sh
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
out=$root/build/packages

scripts/setup-debian.sh --cross

# pack DIR TARGETS... -- CMAKE_ARGS...: configures DIR, builds the targets and packs what DIR installs.
pack() {
  local dir=$1 targets=()
  shift
  while [[ $1 != -- ]]; do
    targets+=("$1")
    shift
  done
  shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DREELWRIGHT_WERROR=ON "$@" >/dev/null
  cmake --build "$dir" -j "$jobs" --target "${targets[@]}"
  (cd "$dir" && cpack -B "$out/.work" >/dev/null)
}

rm -rf "$out"
echo "== Linux packages"
pack build/linux-ref reelwright -- -DBUILD_TESTING=OFF
echo "== Windows zip (32-bit, as MilkShape 3D is)"
pack build/mingw32 Reelwright reelwright -- -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-i686.cmake"
mv "$out"/.work/*.deb "$out"/.work/*.tar.gz "$out"/.work/*.zip "$out"/
rm -rf "$out/.work"
echo "== Blender add-on"
version=$(sed -n 's/^project(Reelwright VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
manifest=$(sed -n 's/^version = "\(.*\)"$/\1/p' blender/reelwright/blender_manifest.toml)
addon=$(sed -n 's/^    "version": (\([0-9]*\), \([0-9]*\), \([0-9]*\)),$/\1.\2.\3/p' blender/reelwright/__init__.py)
if [[ $manifest != "$version" || $addon != "$version" ]]; then
  echo "package.sh: the add-on says version $manifest (manifest) and $addon (bl_info), the project $version" >&2
  exit 1
fi
(cd blender && find reelwright -type f ! -path '*/__pycache__/*' | LC_ALL=C sort | xargs cmake -E tar cf "$out/reelwright-$version-blender.zip" --format=zip)

for package in "$out"/*; do
  echo "== $package"
  case $package in
    *.deb) dpkg-deb --info "$package" | sed -n 's/^ \(Package\|Version\|Architecture\|Depends\): /  \1: /p'
           dpkg-deb --contents "$package" | awk '!/\/$/ { print "  " $3 "\t" $6 }' ;;
    *) cmake -E tar tvf "$package" | awk '!/\/$/ { print "  " $5 "\t" $NF }' ;;
  esac
done
