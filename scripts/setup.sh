#!/usr/bin/env bash
# Installs the Debian 12 packages that building and testing need, and only
# those that are missing, so that a fresh machine and a developer's machine run
# the same commands.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config openssl
  libssl-dev libsqlite3-dev sqlite3 libboost-dev rapidjson-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev python3 help2man
  crossbuild-essential-armhf qemu-user
  abigail-tools dpkg-dev file lintian
  valgrind
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo_cmd=()
if [[ $(id -u) != 0 ]]; then
  sudo_cmd=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
