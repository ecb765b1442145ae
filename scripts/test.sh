#!/usr/bin/env bash
# Builds and runs every test: a warnings-as-errors build, an AddressSanitizer and
# UndefinedBehaviorSanitizer build, the reader fuzzers for a short while, the plug-in DLL
# under wine, and the downloads. Installs what it needs first (Debian).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)

scripts/setup-debian.sh --cross

# The real sample models live beside the project, not in it. Where they are, every test that
# reads them must run (a skip would hide a wrong path); where they are not, those tests skip.
if compgen -G "${REELWRIGHT_SAMPLES:-$root/../shared/samples/ms3d}/*.ms3d" >/dev/null; then
  export REELWRIGHT_REQUIRE_SAMPLES=1
else
  echo "note: sample models not found in ${REELWRIGHT_SAMPLES:-$root/../shared/samples/ms3d}; the tests that read them are skipped"
fi

echo "== one look: the code as .clang-format lays it out"
# msLib.h keeps the modeller's declarations aligned as a table.
git ls-files '*.cpp' '*.h' | grep -v '^host/msLib.h$' | xargs clang-format --style=file --dry-run --Werror

echo "== release build, warnings are errors"
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DREELWRIGHT_WERROR=ON -DREELWRIGHT_BENCH=ON
cmake --build build/release -j "$jobs"
ctest --test-dir build/release --output-on-failure -j "$jobs"

echo "== AddressSanitizer and UndefinedBehaviorSanitizer build"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DREELWRIGHT_WERROR=ON -DREELWRIGHT_SANITIZE=ON
cmake --build build/asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1 ctest --test-dir build/asan --output-on-failure -j "$jobs"

if [[ -x scripts/fuzz.sh ]]; then
  echo "== fuzzers"
  scripts/fuzz.sh
fi

if [[ -x scripts/wine-test.sh ]]; then
  echo "== plug-in DLL under wine"
  scripts/wine-test.sh
fi

if [[ -x scripts/package-test.sh ]]; then
  echo "== packages"
  scripts/package-test.sh
fi
echo "All test stages passed."
