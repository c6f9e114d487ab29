#!/usr/bin/env bash
# Builds and tests every preset in turn and prints how long each stage took.
set -euo pipefail
cd "$(dirname "$0")/.."

presets=(release asan)
declare -a report=()

stage() {
  local name=$1; shift
  local start=$SECONDS
  echo "=== ${name}"
  "$@"
  report+=("$(printf '%-28s %5ds' "$name" $((SECONDS - start)))")
}

for preset in "${presets[@]}"; do
  stage "configure ${preset}" cmake --preset "$preset"
  stage "build ${preset}" cmake --build --preset "$preset"
  stage "test ${preset}" ctest --preset "$preset" -j2
done

echo "=== stage times"
printf '%s\n' "${report[@]}"
