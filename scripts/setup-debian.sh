#!/usr/bin/env bash
# Installs what building and testing Reelwright needs on Debian 12, and nothing that is there
# already. Usage: scripts/setup-debian.sh [--cross]   (--cross: MinGW-w64, wine and Xvfb too)
set -euo pipefail

# groff-base renders the manual page in the tests; build-essential brings dpkg-dev, whose
# dpkg-shlibdeps gives the .deb its dependencies; the preview embeds Debian's three.js and is
# tested in chromium, its modules by nodejs's own test runner; tinygltf reads glTF; Blender and assimp drive the add-on's round trip and
# the cross-check.
packages=(build-essential cmake ninja-build libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev
          nlohmann-json3-dev clang-format groff-base libjs-three chromium nodejs libtinygltf-dev blender python3-numpy assimp-utils)
if [[ "${1:-}" == "--cross" ]]; then
  packages+=(g++-mingw-w64-i686 g++-mingw-w64-x86-64 binutils-mingw-w64 wine64 xvfb xauth)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=""
[[ $(id -u) -ne 0 ]] && sudo="sudo"
echo "Installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
