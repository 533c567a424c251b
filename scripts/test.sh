#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test suite: the host
# build, the sanitizer build (address + undefined) and the 32-bit ARM build,
# whose tests run under qemu-arm; then the thread-sanitizer build of the
# concurrency, soak, crash, write-batch and delivery-thread tests only (the rest
# is single-threaded). The host and ARM builds' libraries are also checked
# against their ABI baselines.
# Every build's tests include FuzzReplay.<target>: each fuzz target run over
# its corpus in fuzz/corpus/ (seeds and past findings), without libFuzzer.
# Usage: scripts/test.sh [preset...]   (default: default asan armhf tsan)
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
if ((${#presets[@]} == 0)); then
  presets=(default asan armhf tsan)
fi

scripts/setup.sh

for preset in "${presets[@]}"; do
  echo "=== ${preset}: configure, build, test"
  start=$SECONDS
  if [[ "$preset" == armhf ]]; then
    scripts/armhf-sysroot.sh build/armhf  # own apt state; skips when complete
  fi
  cmake --preset "$preset" >/dev/null
  if [[ "$preset" == tsan ]]; then
    cmake --build --preset tsan --target soak_tests platform_tests
    ctest --preset tsan -R 'Concurrency|AlertSoak|CrashSafety|ConfigBatch|DeliveryThread'
  else
    cmake --build --preset "$preset"
    ctest --preset "$preset"
  fi
  if [[ "$preset" == default || "$preset" == armhf ]]; then
    scripts/abi-check.sh "build/${preset}"  # fails on an incompatible ABI change
  fi
  if [[ "$preset" == armhf ]]; then
    scripts/armhf-sizes.sh build/armhf  # stripped sizes, so growth is visible
  fi
  echo "=== ${preset}: passed in $((SECONDS - start)) s"
done
