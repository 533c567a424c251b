#!/usr/bin/env bash
# Compares the ABI of a build's two libraries with the baselines kept in
# abi/<arch>/ (libabigail's abidw form), so that a change which breaks
# processes built against an earlier release fails before it ships.
#
# Usage: scripts/abi-check.sh [--update] BUILD_DIR...
#   BUILD_DIR   a build of the default (amd64) or armhf preset; after an
#               intended change: scripts/abi-check.sh --update build/default build/armhf
#   --update    write the build's ABI as the new baseline instead; commit it
#               with the change that made it (and see docs/versioning.md)
#
# Only the public headers' types count (those cmake --install puts under
# include/devmgmt). An incompatible change (a removed or changed symbol, a
# virtual function inserted or moved, a member or size changed) fails with
# abidiff's report; a compatible one (an addition) is reported and passes.
set -euo pipefail

update=0
if [[ "${1:-}" == --update ]]; then
  update=1
  shift
fi
if (($# == 0)); then
  echo "usage: $0 [--update] BUILD_DIR..." >&2
  exit 2
fi
repo_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "${work}"' EXIT
status=0

check_build() {
  local build_dir arch lib baseline current diff_status
  build_dir="$(cd "$1" && pwd)"

  case "$(readelf -h "${build_dir}/libdevmgmt.so" | sed -n 's/^ *Machine: *//p')" in
    *X86-64*) arch=amd64 ;;
    ARM) arch=armhf ;;
    *) echo "abi-check: no baseline for the machine of ${build_dir}/libdevmgmt.so" >&2; status=1; return ;;
  esac

  rm -rf "${work}/prefix"
  cmake --install "${build_dir}" --prefix "${work}/prefix" --component dev >/dev/null

  for lib in devmgmt dmplatform; do
    baseline="${repo_root}/abi/${arch}/lib${lib}.abi"
    current="${work}/lib${lib}.abi"
    abidw --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash \
          --headers-dir "${work}/prefix/include/devmgmt" --drop-private-types \
          --out-file "${current}" "${build_dir}/lib${lib}.so"
    if ((update)); then
      mkdir -p "$(dirname "${baseline}")"
      cp "${current}" "${baseline}"
      echo "abi-check: wrote ${baseline#"${repo_root}"/}"
      continue
    fi
    if [[ ! -f "${baseline}" ]]; then
      echo "abi-check: no baseline ${baseline#"${repo_root}"/}; create it with $0 --update ${1}" >&2
      status=1
      continue
    fi
    # abidiff's status is a bit set: 1 error, 2 usage, 4 change, 8 incompatible change.
    diff_status=0
    abidiff "${baseline}" "${current}" >"${work}/report" || diff_status=$?
    if ((diff_status & 8)) || ((diff_status & 3)); then
      echo "abi-check: lib${lib}.so (${arch}) is not compatible with its baseline:" >&2
      cat "${work}/report" >&2
      status=1
    elif ((diff_status & 4)); then
      echo "abi-check: lib${lib}.so (${arch}) adds to its baseline (compatible):"
      cat "${work}/report"
      echo "abi-check: record it with $0 --update ${1}"
    else
      echo "abi-check: lib${lib}.so (${arch}) matches its baseline"
    fi
  done
}

for dir in "$@"; do
  check_build "${dir}"
done
exit "${status}"
