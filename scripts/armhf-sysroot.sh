#!/usr/bin/env bash
# Build the armhf sysroot used by cmake/toolchain-armhf.cmake.
#
# Usage: scripts/armhf-sysroot.sh [BUILD_DIR]     (default: build/armhf)
# Result: BUILD_DIR/sysroot with the armhf OpenSSL 3, SQLite and
# GoogleTest/GoogleMock packages unpacked, plus links to the host's
# header-only Boost, RapidJSON and CLI11.
#
# The system's dpkg architectures are left alone on purpose: adding armhf
# makes multiarch -dev packages clash and breaks apt for everything else.
# Instead apt runs with a private armhf state kept under BUILD_DIR, only to
# download .deb files, which are unpacked with dpkg-deb (nothing is
# installed). Re-running is cheap: a complete sysroot is left as it is.
set -euo pipefail

readonly PACKAGES=(libssl-dev libssl3 libsqlite3-dev libsqlite3-0 libgtest-dev libgmock-dev)
readonly MULTIARCH=arm-linux-gnueabihf

repo_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="${1:-${repo_root}/build/armhf}"
mkdir -p "${build_dir}"
build_dir="$(cd "${build_dir}" && pwd)"
sysroot="${build_dir}/sysroot"
apt_dir="${build_dir}/apt"
stamp="${sysroot}/.complete"

# The stamp records the package list, so changing PACKAGES rebuilds the sysroot.
expected_stamp="$(printf '%s\n' "${PACKAGES[@]}")"

# Files whose presence shows the sysroot is usable (links are followed).
sysroot_complete() {
  [[ -f "${stamp}" ]] && [[ "$(cat "${stamp}")" == "${expected_stamp}" ]] || return 1
  local f
  for f in \
    "usr/include/openssl/ssl.h" \
    "usr/include/${MULTIARCH}/openssl/configuration.h" \
    "usr/lib/${MULTIARCH}/libcrypto.so" \
    "usr/lib/${MULTIARCH}/libssl.so" \
    "usr/include/sqlite3.h" \
    "usr/lib/${MULTIARCH}/libsqlite3.so" \
    "usr/lib/${MULTIARCH}/libgtest.a" \
    "usr/lib/${MULTIARCH}/libgmock.a" \
    "usr/include/boost/version.hpp" \
    "usr/include/rapidjson/document.h" \
    "usr/include/CLI/CLI.hpp"; do
    [[ -e "${sysroot}/${f}" ]] || return 1
  done
}

if sysroot_complete; then
  echo "armhf sysroot up to date: ${sysroot}"
  exit 0
fi

# Header-only libraries come from the host (same headers on every arch).
for d in /usr/include/boost /usr/include/rapidjson /usr/include/CLI; do
  if [[ ! -d "${d}" ]]; then
    echo "error: ${d} missing; install libboost-dev rapidjson-dev libcli11-dev on the host" >&2
    exit 1
  fi
done
if ! command -v dpkg-deb >/dev/null || ! command -v apt-get >/dev/null; then
  echo "error: apt-get and dpkg-deb are required" >&2
  exit 1
fi

# Private apt state: armhf only, own lists/cache/empty dpkg status, so
# neither the host's apt state nor its architectures are touched.
mkdir -p "${apt_dir}/lists/partial" "${apt_dir}/cache/archives/partial" \
  "${apt_dir}/state" "${apt_dir}/debs"
: >"${apt_dir}/state/status"
apt_opts=(
  -o "APT::Architecture=armhf"
  -o "APT::Architectures=armhf"
  -o "Dir::State=${apt_dir}/state"
  -o "Dir::State::Lists=${apt_dir}/lists"
  -o "Dir::State::Status=${apt_dir}/state/status"
  -o "Dir::Cache=${apt_dir}/cache"
  -o "Debug::NoLocking=1"
  # Files land in root-owned build dirs the _apt user cannot write.
  -o "APT::Sandbox::User=root"
  -o "Acquire::Languages=none"
)
export DEBIAN_FRONTEND=noninteractive

echo "armhf sysroot: fetching package indexes"
# A failing extra index (e.g. security) is tolerated; what matters is that
# every package below resolves, which is checked right after.
if ! apt-get "${apt_opts[@]}" -q update; then
  echo "warning: apt-get update reported errors; checking the indexes that arrived" >&2
fi
for p in "${PACKAGES[@]}"; do
  if ! apt-cache "${apt_opts[@]}" show --no-all-versions "${p}:armhf" >/dev/null 2>&1; then
    echo "error: armhf package ${p} not found in the downloaded indexes" >&2
    exit 1
  fi
done

echo "armhf sysroot: downloading ${PACKAGES[*]}"
rm -f "${apt_dir}/debs/"*.deb
(cd "${apt_dir}/debs" && apt-get "${apt_opts[@]}" -q download "${PACKAGES[@]/%/:armhf}")

# Unpack into a scratch dir and move it into place at the end, so an
# interrupted run never leaves a half-filled sysroot behind.
tmp_root="${sysroot}.tmp"
rm -rf "${tmp_root}"
mkdir -p "${tmp_root}"
for deb in "${apt_dir}/debs/"*.deb; do
  dpkg-deb -x "${deb}" "${tmp_root}"
done

# Absolute links would point at the host's files; make them sysroot-relative.
while IFS= read -r -d '' link; do
  target="$(readlink "${link}")"
  if [[ "${target}" == /* ]]; then
    ln -sfn "$(realpath -m --relative-to="$(dirname "${link}")" "${tmp_root}${target}")" "${link}"
  fi
done < <(find "${tmp_root}" -type l -print0)

ln -sfn /usr/include/boost "${tmp_root}/usr/include/boost"
ln -sfn /usr/include/rapidjson "${tmp_root}/usr/include/rapidjson"
ln -sfn /usr/include/CLI "${tmp_root}/usr/include/CLI"

# The host's RapidJSONConfig.cmake hard-codes -I/usr/include, which would put
# the host libc headers ahead of the cross ones; offer a sysroot-local one.
mkdir -p "${tmp_root}/usr/share/cmake/RapidJSON"
cat >"${tmp_root}/usr/share/cmake/RapidJSON/RapidJSONConfig.cmake" <<'EOF'
# armhf sysroot copy: headers are linked into this sysroot's usr/include.
get_filename_component(RAPIDJSON_INCLUDE_DIRS "${CMAKE_CURRENT_LIST_DIR}/../../../include" ABSOLUTE)
set(RapidJSON_INCLUDE_DIRS "${RAPIDJSON_INCLUDE_DIRS}")
EOF
if [[ -f /usr/share/cmake/RapidJSON/RapidJSONConfigVersion.cmake ]]; then
  cp /usr/share/cmake/RapidJSON/RapidJSONConfigVersion.cmake "${tmp_root}/usr/share/cmake/RapidJSON/"
fi

{
  echo "Packages unpacked into this sysroot:"
  for deb in "${apt_dir}/debs/"*.deb; do
    # shellcheck disable=SC2016 # dpkg-deb expands these, not the shell
    dpkg-deb -W --showformat='${Package} ${Version}\n' "${deb}"
  done
} >"${tmp_root}/PACKAGES.txt"
printf '%s\n' "${PACKAGES[@]}" >"${tmp_root}/.complete"

rm -rf "${sysroot}"
mv "${tmp_root}" "${sysroot}"
if ! sysroot_complete; then
  echo "error: sysroot ${sysroot} is missing expected files" >&2
  exit 1
fi
echo "armhf sysroot ready: ${sysroot}"
cat "${sysroot}/PACKAGES.txt"
