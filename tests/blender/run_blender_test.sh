#!/usr/bin/env bash
# ctest entry for the Blender round trip: skips (exit 77) when Blender is not installed.
# Usage: run_blender_test.sh REELWRIGHT ADDON_FOLDER EXAMPLES_FOLDER WORKDIR
set -euo pipefail
if ! command -v blender >/dev/null 2>&1; then
  echo "SKIPPED: blender is not installed (scripts/setup-debian.sh installs it)"
  exit 77
fi
here=$(cd "$(dirname "$0")" && pwd)
exec blender -b --factory-startup --python-exit-code 1 --python "$here/blender_roundtrip.py" -- "$@"
