#!/usr/bin/env bash
# Builds the benchmarks in release mode, runs every one of them with
# repetitions and writes docs/performance.md: each operation's median beside
# its baseline from the same run, the ratio, the target and the verdict, plus
# the machine it ran on, and a memory table (peak heaps and allocation counts
# under valgrind, the resident size of an idle process).
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

echo "== memory footprint"
# Peak heap (massif: requested bytes plus the allocator's overhead) of one
# operation per process, allocations per message (memcheck's count over two
# run lengths) and the resident size of a process that does nothing.
footprint="${PWD}/${build}/bench/dm_footprint"
scratch="$(mktemp -d /tmp/devmgmt-footprint-XXXXXX)"
trap 'rm -rf "${scratch}"' EXIT
memory="${results}/memory.jsonl"
: >"${memory}"
massif_peak() {  # name, database, mode
  VM_CFG_DB="$2" valgrind --tool=massif --massif-out-file="${scratch}/massif.$1" "${footprint}" "$3" >/dev/null 2>&1 ||
    { echo "{\"name\": \"$1\", \"error\": \"dm_footprint $3 failed under massif\"}" >>"${memory}"; return 0; }
  awk -F= -v name="$1" '/^mem_heap_B=/ {heap=$2} /^mem_heap_extra_B=/ {if (heap+$2 > peak) peak=heap+$2}
    END {printf "{\"name\": \"%s\", \"bytes\": %d}\n", name, peak}' "${scratch}/massif.$1" >>"${memory}"
}
allocs() {  # run length
  VM_CFG_DB="${scratch}/idle.db" valgrind --tool=memcheck "${footprint}" message "$1" 2>&1 >/dev/null |
    sed -n 's/.*total heap usage: \([0-9,]*\) allocs.*/\1/p' | tr -d ,
}
if command -v valgrind >/dev/null; then
  for size in 100 1000; do
    VM_CFG_DB="${scratch}/params${size}.db" "${footprint}" populate "${size}"
  done
  VM_CFG_DB="${scratch}/filters.db" "${footprint}" filters 200
  # A device starts on its existing database: the first start, which builds
  # the alarm tables, is left out.
  VM_CFG_DB="${scratch}/alerts.db" "${footprint}" alerts
  massif_peak idle "${scratch}/idle.db" idle
  massif_peak alerts "${scratch}/alerts.db" alerts
  massif_peak report_10000 "${scratch}/params100.db" report
  massif_peak report_100000 "${scratch}/params1000.db" report
  massif_peak rewrite_200 "${scratch}/filters.db" rewrite
  short=$(allocs 100)
  long=$(allocs 1100)
  if [[ -n "${short}" && -n "${long}" ]]; then
    echo "{\"name\": \"message_allocs\", \"per_message\": $(((long - short) / 1000)), \"short\": ${short}, \"long\": ${long}}" >>"${memory}"
  fi
else
  echo '{"name": "valgrind", "error": "valgrind is not installed"}' >>"${memory}"
fi
rss=$(VM_CFG_DB="${scratch}/idle.db" "${footprint}" idle | sed -n 's/^rss_kib //p')
[[ -n "${rss}" ]] && echo "{\"name\": \"idle_rss\", \"kib\": ${rss}}" >>"${memory}"
cat "${memory}"

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
