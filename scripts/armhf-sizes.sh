#!/usr/bin/env bash
# Print the stripped armhf sizes of the shipped shared libraries, so that
# growth of what goes onto the phone shows up in every build log.
#
# Usage: scripts/armhf-sizes.sh [BUILD_DIR] [LIB...]
#   BUILD_DIR defaults to build/armhf; LIB defaults to the shipped libraries.
# The build tree keeps its unstripped files: each library is stripped as a
# temporary copy.
set -euo pipefail

repo_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${1:-${repo_root}/build/armhf}"
shift || true
libs=("$@")
if [[ ${#libs[@]} -eq 0 ]]; then
  libs=(libdevmgmt.so libdmplatform.so)
fi

strip_tool=arm-linux-gnueabihf-strip
size_tool=arm-linux-gnueabihf-size
for t in "${strip_tool}" "${size_tool}"; do
  if ! command -v "${t}" >/dev/null; then
    echo "error: ${t} not found; install crossbuild-essential-armhf" >&2
    exit 1
  fi
done
if [[ ! -d "${build_dir}" ]]; then
  echo "error: build directory ${build_dir} not found" >&2
  exit 1
fi

tmp_dir="$(mktemp -d)"
trap 'rm -rf "${tmp_dir}"' EXIT

status=0
total=0
printf '%-22s %12s %12s %10s %10s %10s\n' library stripped unstripped text data bss
for lib in "${libs[@]}"; do
  # The sysroot holds third-party libraries only; never measure those.
  found="$(find "${build_dir}" -path "${build_dir}/sysroot" -prune -o \
    -name "${lib}" \( -type f -o -type l \) -print | LC_ALL=C sort | head -n 1)"
  if [[ -z "${found}" ]]; then
    echo "error: ${lib} not found under ${build_dir}" >&2
    status=1
    continue
  fi
  real="$(readlink -f "${found}")"
  copy="${tmp_dir}/${lib}"
  "${strip_tool}" --strip-all -o "${copy}" "${real}"
  stripped="$(stat -c %s "${copy}")"
  unstripped="$(stat -c %s "${real}")"
  # Berkeley format: text data bss dec hex filename (second line).
  read -r text data bss _ < <("${size_tool}" -B "${copy}" | sed -n 2p)
  printf '%-22s %12s %12s %10s %10s %10s\n' "${lib}" "${stripped}" "${unstripped}" "${text}" "${data}" "${bss}"
  total=$((total + stripped))
done
printf '%-22s %12s\n' total "${total}"
exit "${status}"
