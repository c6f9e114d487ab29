#!/usr/bin/env bash
# Builds the release preset and runs the command-line tool.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build --preset release --target zyratune
./build/release/tools/zyratune/zyratune
