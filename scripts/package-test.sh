#!/usr/bin/env bash
# The downloads as a user gets them. Builds them with scripts/package.sh, then:
# - unpacks the .deb into a scratch root (dpkg -x), checks its exact file list, and exports the
#   example with the installed command: the NIS file must be the golden one;
# - checks that the .tar.gz holds the same files;
# - checks the zip's exact file list, and that both programs in it are 32-bit Windows programs
#   that carry the build's version in their version resources;
# - checks the Blender add-on zip's exact file list and versions, and installs it into a scratch
#   Blender 3.4 profile, where its export operator must register (skipped without Blender);
# - runs the Windows command under wine on the example and compares its NIS bytes with the Linux
#   run (and its script, whose lines end in CR LF on Windows). Debian's 32-bit wine could not be
#   installed on our build machine, so this runs the x86_64 build of the same code (build/mingw64,
#   the tree scripts/wine-test.sh uses); the zip's own 32-bit command runs too where wine32 is
#   installed. Skips, with a note, what needs wine when wine64 is missing.
# Usage: scripts/package-test.sh   (exits non-zero on any failure)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
packages=$root/build/packages
work=$root/build/package-test
wine64=/usr/lib/wine/wine64
wine32=/usr/lib/wine/wine
wineserver=/usr/lib/wine/wineserver

fail() {
  echo "package-test: FAILED: $*" >&2
  exit 1
}

scripts/package.sh >/dev/null
version=$(sed -n 's/^project(Reelwright VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
deb=$packages/reelwright_${version}_amd64.deb
tgz=$packages/reelwright-$version-Linux.tar.gz
zip=$packages/reelwright-$version-win32.zip
addon=$packages/reelwright-$version-blender.zip
for package in "$deb" "$tgz" "$zip" "$addon"; do
  [[ -f $package ]] || fail "scripts/package.sh did not make $package"
done
rm -rf "$work"
mkdir -p "$work"
cp examples/fleet.ms3d "$work/"

# same LABEL EXPECTED ACTUAL: the two texts are equal, or the difference is shown.
same() {
  [[ "$2" == "$3" ]] || fail "$1: expected
$2
got
$3"
}

echo "== the .deb, installed into a scratch root"
dpkg -x "$deb" "$work/root"
same "the .deb's files" "usr/bin/reelwright
usr/share/bash-completion/completions/reelwright
usr/share/doc/reelwright/LICENSE
usr/share/doc/reelwright/README.md
usr/share/man/man1/reelwright.1" "$(cd "$work/root" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)"
installed=$work/root/usr/bin/reelwright
same "the installed command's version" "reelwright $version" "$("$installed" --version | sed -n 2p)"
(cd "$work" && "$installed" export fleet.ms3d -o linux.nis -q >/dev/null) || fail "the installed command's export"
cmp "$work/linux.nis" examples/golden/fleet.nis || fail "the installed command's NIS differs from examples/golden/fleet.nis"
echo "ok: the installed command exports the example as the golden NIS"

echo "== the .tar.gz"
same "the .tar.gz's files (under usr/ in the .deb)" "$(cd "$work/root/usr" && find . -type f | sed 's|^\./||' | LC_ALL=C sort)" \
  "$(tar tzf "$tgz" | grep -v '/$' | sed "s|^reelwright-$version-Linux/||" | LC_ALL=C sort)"
echo "ok: the .tar.gz holds the .deb's files"

echo "== the Windows zip"
dir=reelwright-$version-win32
same "the zip's files" "$dir/INSTALL.txt
$dir/LICENSE
$dir/msReelwright.dll
$dir/reelwright.exe" "$(cmake -E tar tf "$zip" | LC_ALL=C sort)"
(cd "$work" && cmake -E tar xf "$zip")
for program in msReelwright.dll reelwright.exe; do
  i686-w64-mingw32-objdump -f "$work/$dir/$program" | grep -q 'file format pei-i386$' ||
    fail "$program in the zip is not a 32-bit Windows program"
  # The version resource's texts are UTF-16: without their zero bytes, each name runs into its value.
  resource=$(i686-w64-mingw32-objcopy -O binary --only-section=.rsrc "$work/$dir/$program" /dev/stdout | tr -d '\0')
  for entry in "FileVersion$version" "ProductVersion$version" "OriginalFilename$program"; do
    grep -qaF "$entry" <<<"$resource" || fail "$program's version resource lacks $entry"
  done
done
grep -qF 'File > Export > Reelwright' "$work/$dir/INSTALL.txt" || fail "INSTALL.txt does not name the export menu"
head -n 1 "$work/$dir/INSTALL.txt" | grep -q $'\r$' || fail "INSTALL.txt's lines do not end in CR LF"
echo "ok: the zip holds exactly INSTALL.txt, LICENSE, msReelwright.dll and reelwright.exe, 32-bit, version $version"

echo "== the Blender add-on zip"
# The package's files as the repository holds them: no byte-code, nothing left over from a run.
same "the add-on zip's files" "$(cd blender && git ls-files reelwright | LC_ALL=C sort)" \
  "$(cmake -E tar tf "$addon" | LC_ALL=C sort)"
if command -v blender >/dev/null; then
  # A scratch profile: the user's own Blender add-ons stay as they are.
  BLENDER_USER_CONFIG=$work/blender/config BLENDER_USER_SCRIPTS=$work/blender/scripts \
    blender -b --factory-startup --python-exit-code 1 --python-expr "
import bpy
bpy.ops.preferences.addon_install(filepath='$addon')
bpy.ops.preferences.addon_enable(module='reelwright')
assert hasattr(bpy.ops.export_scene, 'reelwright_nis') and hasattr(bpy.types.Object, 'reelwright_sob_type')
" >"$work/blender.log" 2>&1 || { cat "$work/blender.log" >&2; fail "the add-on zip does not install in Blender"; }
  echo "ok: the add-on zip holds the package, version $version, and installs in $(blender --version | head -n 1)"
else
  echo "skipped: blender is not installed, so the add-on zip was not installed (Debian: blender)"
fi

echo "== the Windows command under wine"
if [[ ! -x $wine64 ]]; then
  echo "skipped: wine64 is not installed, so the Windows command was not run (Debian: wine64)"
  exit 0
fi
# run_windows LABEL LOADER WINEARCH PROGRAM: exports the example in the scratch folder with the
# Windows command and compares its outputs with the Linux run's.
run_windows() {
  local label=$1 loader=$2 program=$3
  export WINEPREFIX=$root/build/wineprefix-$label WINEARCH=$4 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  # Relative paths: wine maps the current folder to a drive, a Unix path it would not.
  (cd "$work" && "$loader" "$program" export fleet.ms3d -o "$label.nis" -q >/dev/null 2>"$label.err") ||
    { cat "$work/$label.err" >&2; fail "the $label Windows command's export"; }
  "$wineserver" -k 2>/dev/null || true
  cmp "$work/linux.nis" "$work/$label.nis" || fail "the $label Windows command's NIS differs from the Linux command's"
  # The script file is written in text mode: on Windows each LF goes out as CR LF.
  perl -pe 's/\n/\r\n/' "$work/linux.script" | cmp - "$work/$label.script" ||
    fail "the $label Windows command's script differs from the Linux command's (after LF -> CR LF)"
  echo "ok: $label reelwright.exe: NIS identical to the Linux command's, script identical but for CR LF"
}
cmake -S . -B build/mingw64 -G Ninja -DCMAKE_BUILD_TYPE=Release -DREELWRIGHT_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
cmake --build build/mingw64 -j "$(nproc)" --target reelwright >/dev/null
run_windows x86_64 "$wine64" "$root/build/mingw64/cli/reelwright.exe" win64
if [[ -x $wine32 ]]; then
  run_windows i686 "$wine32" "$work/$dir/reelwright.exe" win32
else
  echo "note: 32-bit wine (wine32:i386) is not installed: the zip's 32-bit reelwright.exe was checked statically only"
fi
echo "package-test: all checks passed"
