#!/usr/bin/env bash
# Builds the release preset with the tool and its bundled sample, shows the sample, and reads
# one value from it.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target zyratune zyratune_sample
tool=./build/release/tools/zyratune/zyratune
"$tool" inspect
"$tool" get ./build/release/tools/zyratune/sample.bin 'Default|Usecase.Snapshot' \
  gamma16_ife_v2.parameter_version.revision
