#!/usr/bin/env bash
# The main job: builds the host tools and runs the demonstration.
set -euo pipefail
cd "$(dirname "$0")/.."
DM_WITH_ARMHF=0 scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target dmdemo
build/default/tools/dmdemo/dmdemo
