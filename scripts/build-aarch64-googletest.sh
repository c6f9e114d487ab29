#!/usr/bin/env bash
# Builds GoogleTest for AArch64 from Debian's source package (/usr/src/googletest) and
# installs it under build/aarch64-googletest, where the aarch64 preset finds it. Does
# nothing when it is there already.
set -euo pipefail
cd "$(dirname "$0")/.."
prefix=$PWD/build/aarch64-googletest
if [[ -f $prefix/lib/cmake/GTest/GTestConfig.cmake ]]; then
  exit 0
fi
cmake -S /usr/src/googletest -B build/aarch64-googletest-build -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu.cmake" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_INSTALL_PREFIX="$prefix" >/dev/null
cmake --build build/aarch64-googletest-build
cmake --install build/aarch64-googletest-build >/dev/null
