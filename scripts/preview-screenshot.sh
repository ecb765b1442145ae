#!/usr/bin/env bash
# Renews docs/preview.png: the bundled example's preview page at 2 s, in headless chromium.
# Usage: scripts/preview-screenshot.sh [BUILD_DIR]   (default build/dev; reelwright must be built there)
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build/dev}"
out="$build/preview-shot"
rm -rf "$out"
mkdir -p "$out"
"$build/cli/reelwright" export examples/fleet.ms3d -q -o "$out/fleet.nis"
"$build/cli/reelwright" preview "$out/fleet.nis"
chromium --headless --no-sandbox --disable-gpu --enable-unsafe-swiftshader --disable-background-networking \
  --disable-component-update --disable-sync --no-first-run --user-data-dir="$PWD/$out/profile" \
  --hide-scrollbars --window-size=1100,600 --virtual-time-budget=3000 --screenshot="$PWD/docs/preview.png" \
  "file://$PWD/$out/fleet.html#t=2&view=orbit" 2>/dev/null
echo "Wrote docs/preview.png"
