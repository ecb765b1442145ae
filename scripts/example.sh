#!/usr/bin/env bash
# Builds the command-line exporter (release tree), makes the example cinematic in Blender with
# the add-on (examples/flyby.py: a fighter flying past a mothership, two cameras, events) and
# exports it to build/example/flyby.nis and flyby.script, saves the scene as
# build/example/flyby.blend to open in Blender, and writes the preview page
# build/example/flyby.html. Installs what it needs first (Debian).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup-debian.sh

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DREELWRIGHT_WERROR=ON -DREELWRIGHT_BENCH=ON
cmake --build build/release --target reelwright -j "$(nproc)"

mkdir -p build/example
blender -b --factory-startup --python-exit-code 1 --python examples/flyby.py -- \
  build/example/flyby.nis build/release/cli/reelwright build/example/flyby.blend
build/release/cli/reelwright preview build/example/flyby.nis --force
echo "Wrote build/example/flyby.nis and flyby.script (open flyby.blend in Blender to see the scene);"
echo "open build/example/flyby.html in a browser"
