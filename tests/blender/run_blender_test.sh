#!/usr/bin/env bash
# ctest entry for the Blender round trip: skips (exit 77) when Blender is not installed.
# Usage: run_blender_test.sh [TEST.py] REELWRIGHT ADDON_FOLDER EXAMPLES_FOLDER WORKDIR [MORE...]
# (the test blender_roundtrip.py by default)
set -euo pipefail
if ! command -v blender >/dev/null 2>&1; then
  echo "SKIPPED: blender is not installed (scripts/setup-debian.sh installs it)"
  exit 77
fi
here=$(cd "$(dirname "$0")" && pwd)
script=blender_roundtrip.py
if [[ "${1:-}" == *.py ]]; then script=$1; shift; fi
exec blender -b --factory-startup --python-exit-code 1 --python "$here/$script" -- "$@"
