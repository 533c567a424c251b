#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test suite: the host
# build and the sanitizer build (address + undefined).
# Usage: scripts/test.sh [preset...]   (default: default asan)
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
if ((${#presets[@]} == 0)); then
  presets=(default asan)
fi

scripts/setup.sh

for preset in "${presets[@]}"; do
  echo "=== ${preset}: configure, build, test"
  start=$SECONDS
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset"
  ctest --preset "$preset"
  echo "=== ${preset}: passed in $((SECONDS - start)) s"
done
