#!/usr/bin/env bash
# Builds the libFuzzer targets with Clang and the sanitizers and runs each for a short while
# (FUZZ_SECONDS, default 30), seeded from fuzz/corpus/NAME/ and the given extra folders.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-30}
CC=clang CXX=clang++ cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DREELWRIGHT_FUZZ=ON -DREELWRIGHT_SANITIZE=ON -DBUILD_TESTING=OFF >/dev/null
cmake --build build/fuzz -j "$(nproc)"
shopt -s nullglob
# The real models seed the fuzzers that read models (copied into the build tree, never the repo).
models=build/fuzz/seed-models
rm -rf "$models" && mkdir -p "$models"
cp examples/fleet.ms3d "${REELWRIGHT_SAMPLES:-../shared/samples/ms3d}"/*.ms3d "$models"/ 2>/dev/null || true
for src in fuzz/*_fuzzer.cpp; do
  name=$(basename "$src" .cpp)
  work=build/fuzz/corpus-$name
  mkdir -p "$work"
  seeds=()
  [[ -d fuzz/corpus/$name ]] && seeds+=("fuzz/corpus/$name")
  [[ $name == ms3d_reader_fuzzer || $name == export_fuzzer ]] && seeds+=("$models")
  [[ $name == import_fuzzer ]] && seeds+=("fuzz/corpus/nis_reader_fuzzer")
  echo "-- $name for ${seconds}s"
  build/fuzz/fuzz/"$name" -max_total_time="$seconds" -max_len=65536 -print_final_stats=1 \
    "$work" "${seeds[@]}" 2>&1 | tail -n 4
done
