#!/usr/bin/env bash
# The long form of the robustness tests: the multi-process alarm soak (four
# processes, up to 4,000 unpaced operations each, every delivered record and
# sampled snapshot checked) for at most the given seconds, and the
# killed-writer crash test for the given rounds, on the host build (or
# another preset's build, e.g. asan). Each prints its figures.
#
# Usage: scripts/soak.sh [seconds] [crash-rounds] [preset]   (default 300 200 default)
#   DM_SOAK_PROCESSES sets the number of processes (default 4),
#   DM_SOAK_OPERATIONS the operations per process (default 4000).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-300}"
rounds="${2:-200}"
preset="${3:-default}"

scripts/setup.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target soak_tests
export DM_SOAK_SECONDS="$seconds" DM_CRASH_ROUNDS="$rounds" DM_SOAK_OPERATIONS="${DM_SOAK_OPERATIONS:-4000}"
# Each test in its own process, as ctest runs them.
build="build/${preset}/tests/soak_tests"
status=0
for test in AlertSoak.ProcessesAgreeWithTheDatabaseAfterRandomWork \
            AlarmAndStateCrashSafety.KilledWritersLoseNothingThatWasAcknowledged; do
  echo "=== ${test}"
  start=$SECONDS
  if ! "$build" --gtest_filter="$test"; then
    status=1
  fi
  echo "=== ${test}: $((SECONDS - start)) s"
done
exit "$status"
