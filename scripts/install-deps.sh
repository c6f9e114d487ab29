#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, when any is missing.
set -euo pipefail
packages=(cmake ninja-build g++ clang libclang-rt-dev python3 libgtest-dev libgmock-dev libbenchmark-dev zlib1g-dev binutils
  g++-aarch64-linux-gnu qemu-user googletest libcli11-dev nlohmann-json3-dev
  dpkg-dev file lintian pkgconf)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
