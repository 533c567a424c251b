#!/usr/bin/env bash
# Builds every libFuzzer target (preset `fuzz`, clang-14) and runs each for
# the given number of seconds, starting from its seed
# corpus in fuzz/corpus/<target>/. New inputs go to build/fuzz/corpus/<target>/
# (not the repository); crashes are written to build/fuzz/findings/.
# A target stops after the given time or 5 million executions, whichever
# comes first; as many targets run at once as there are cores (FUZZ_JOBS
# overrides). Prints time, executions, coverage and features per target.
#
# Usage: scripts/fuzz.sh [seconds-per-target] [target...]   (default 60, all)
#   The long run is `scripts/fuzz.sh 600`.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-60}"
shift || true
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || ((seconds == 0)); then
  echo "usage: scripts/fuzz.sh [seconds-per-target] [target...]" >&2
  exit 2
fi

# clang-14 and its sanitizer/fuzzer runtimes are needed here only, not in CI.
scripts/setup.sh
needed=()
for package in clang-14 libclang-rt-14-dev; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    needed+=("$package")
  fi
done
if ((${#needed[@]} > 0)); then
  sudo_cmd=()
  [[ $(id -u) != 0 ]] && sudo_cmd=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo_cmd[@]}" apt-get update -q
  "${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${needed[@]}"
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

targets=("$@")
if ((${#targets[@]} == 0)); then
  for dir in fuzz/corpus/*/; do
    targets+=("$(basename "$dir")")
  done
fi

out=build/fuzz
max_runs=5000000
jobs="${FUZZ_JOBS:-$(nproc)}"
mkdir -p "$out/findings" "$out/logs"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

# Runs one target; its summary line goes to $out/logs/<target>.summary.
run_target() {
  local target="$1"
  local binary="$out/fuzz/fuzz_${target}"
  local corpus="$out/corpus/${target}"
  local log="$out/logs/${target}.log"
  mkdir -p "$corpus"
  echo "=== ${target}: up to ${seconds} s or ${max_runs} executions"
  local result=ok
  if ! "$binary" -max_total_time="$seconds" -runs="$max_runs" -timeout=10 -rss_limit_mb=2048 \
      -max_len=16384 -print_final_stats=1 -artifact_prefix="$out/findings/${target}-" \
      "$corpus" "fuzz/corpus/${target}" >"$log" 2>&1; then
    result=FINDING
    tail -n 40 "$log"
  fi
  # The last status line carries coverage (cov) and features (ft); the
  # "Done" line the executions and the time they took.
  local line cov ft runs took
  line="$(grep -E '^#[0-9]+' "$log" | tail -n 1 || true)"
  cov="$(sed -nE 's/.* cov: ([0-9]+).*/\1/p' <<<"$line")"
  ft="$(sed -nE 's/.* ft: ([0-9]+).*/\1/p' <<<"$line")"
  runs="$(sed -nE 's/^stat::number_of_executed_units: ([0-9]+)/\1/p' "$log" | tail -n 1)"
  took="$(sed -nE 's/^Done [0-9]+ runs in ([0-9]+) second.*/\1/p' "$log" | tail -n 1)"
  printf '%-20s %6s s %12s execs %8s cov %8s ft  %s\n' "$target" "${took:-?}" "${runs:-?}" \
    "${cov:-?}" "${ft:-?}" "$result" >"$out/logs/${target}.summary"
  [[ "$result" == ok ]]
}

for target in "${targets[@]}"; do
  if [[ ! -x "$out/fuzz/fuzz_${target}" ]]; then
    echo "error: no fuzz target ${target}" >&2
    exit 2
  fi
done

# One target per core at a time.
status=0
running=0
for target in "${targets[@]}"; do
  if ((running >= jobs)); then
    wait -n || status=1
    running=$((running - 1))
  fi
  run_target "$target" &
  running=$((running + 1))
done
while ((running > 0)); do
  wait -n || status=1
  running=$((running - 1))
done

echo
echo "target               time           executions     coverage   features  result"
for target in "${targets[@]}"; do
  cat "$out/logs/${target}.summary"
done
exit "$status"
