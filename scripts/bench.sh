#!/usr/bin/env bash
# Builds the benchmarks in release mode, runs every one of them with
# repetitions and writes docs/performance.md: each operation's median beside
# its baseline from the same run, the ratio, the target and the verdict, plus
# the machine it ran on.
#
# Usage: scripts/bench.sh [--no-armhf] [--repetitions N]
#   --no-armhf     skip the armhf library build whose stripped sizes fill the
#                  size row (the row then says it was skipped). Without the
#                  flag the armhf libraries are built (sysroot downloaded
#                  once) when the cross tools are present; a failure there
#                  is reported in the row, not fatal.
#   --repetitions  repetitions per benchmark (default 5); the median is used.
# Raw output stays in build/bench/results.
set -euo pipefail

started=$(date +%s)
load_at_start="$(cut -d' ' -f1-3 /proc/loadavg)"
repo_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
armhf=1
repetitions=5
while (($#)); do
  case "$1" in
    --no-armhf) armhf=0 ;;
    --repetitions) repetitions="$2"; shift ;;
    *) echo "usage: $0 [--no-armhf] [--repetitions N]" >&2; exit 2 ;;
  esac
  shift
done
if ! [[ "${repetitions}" =~ ^[1-9][0-9]*$ ]]; then
  echo "error: --repetitions takes a positive number" >&2
  exit 2
fi

cd "${repo_root}"
scripts/setup.sh

build=build/bench
cmake -S . -B "${build}" -G Ninja -DCMAKE_BUILD_TYPE=Release -DDM_BUILD_BENCH=ON -DDM_BUILD_TESTS=OFF >/dev/null
cmake --build "${build}"

results="${build}/results"
rm -rf "${results}"
mkdir -p "${results}"
export DM_BENCH_RESULTS="${PWD}/${results}/extra.jsonl"

for program in dm_config_bench dm_alerts_bench dm_bench dm_ems_bench dm_peripherals_bench dm_signature_bench; do
  echo "== ${program}"
  "${build}/bench/${program}" --benchmark_repetitions="${repetitions}" --benchmark_report_aggregates_only=true \
    --benchmark_out="${results}/${program}.json" --benchmark_out_format=json | tee "${results}/${program}.txt"
done

if ((armhf)); then
  echo "== armhf library sizes"
  if scripts/armhf-sysroot.sh build/armhf && cmake --preset armhf >/dev/null &&
    cmake --build --preset armhf --target devmgmt dmplatform; then
    scripts/armhf-sizes.sh build/armhf | tee "${results}/armhf-sizes.txt" ||
      echo "armhf-sizes.sh failed" >"${results}/armhf-skipped.txt"
  else
    echo "the armhf build failed; see the output of scripts/bench.sh" >"${results}/armhf-skipped.txt"
  fi
else
  echo "skipped with --no-armhf" >"${results}/armhf-skipped.txt"
fi

python3 scripts/bench_report.py --results "${results}" --out docs/performance.md \
  --notes bench/performance-notes.md --load "${load_at_start}" --repetitions "${repetitions}" \
  --elapsed "$(($(date +%s) - started))"
