#!/usr/bin/env bash
# Builds the command-line exporter (release tree) and exports the bundled example scene to
# build/example/fleet.nis and fleet.script, and its preview page build/example/fleet.html. Installs what it needs first (Debian). The example
# model examples/fleet.ms3d is committed; this script only reads it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DREELWRIGHT_WERROR=ON -DREELWRIGHT_BENCH=ON
cmake --build build/release --target reelwright -j "$(nproc)"

mkdir -p build/example
build/release/cli/reelwright export examples/fleet.ms3d -o build/example/fleet.nis --force
build/release/cli/reelwright preview build/example/fleet.nis --force
echo "Wrote build/example/fleet.nis and build/example/fleet.script; open build/example/fleet.html in a browser"
