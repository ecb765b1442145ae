#!/usr/bin/env bash
# Measures the preview page of a game-sized NIS file: the page's size against the NIS file's, and
# how soon headless chromium draws its first frame after it starts loading the page.
# Usage: scripts/preview-bench.sh [BUILD_DIR] [BONES KEYS]   (default build/bench, 100 bones x 160
# keys: a 3.6 MB NIS; BUILD_DIR configured with -DREELWRIGHT_BENCH=ON, reelwright and
# make_bench_model built there)
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build/bench}"
bones="${2:-100}" keys="${3:-160}"
out="$build/preview-bench"
rm -rf "$out" && mkdir -p "$out"
"$build/bench/make_bench_model" "$bones" "$keys" "$out/scene.ms3d"
"$build/cli/reelwright" export "$out/scene.ms3d" -q -o "$out/scene.nis"
"$build/cli/reelwright" preview "$out/scene.nis" >/dev/null
nis=$(stat -c %s "$out/scene.nis") page=$(stat -c %s "$out/scene.html")
echo "NIS $nis bytes, page $page bytes: the NIS plus $(( (page - nis) / 1000 )) kB"
for run in 1 2 3; do
  first=$(chromium --headless --no-sandbox --disable-gpu --enable-unsafe-swiftshader --disable-background-networking \
    --disable-component-update --disable-sync --no-first-run --user-data-dir="$PWD/$out/profile" \
    --dump-dom "file://$PWD/$out/scene.html" 2>/dev/null | grep -o 'data-first-frame-ms="[0-9]*"' | grep -o '[0-9]*')
  echo "run $run: first frame drawn ${first:-never} ms after the page began to load"
done
