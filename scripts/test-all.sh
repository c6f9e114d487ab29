#!/usr/bin/env bash
# Builds and tests every preset in turn and prints how long each stage took.
set -euo pipefail
cd "$(dirname "$0")/.."

presets=(release asan tsan)
declare -a report=()

# ThreadSanitizer aborts with "unexpected memory mapping" on kernels that randomise mmap
# with more bits than its runtime expects. Address randomisation off (setarch -R), which the
# test processes inherit from ctest, avoids that and changes nothing else it checks. Where
# setarch is missing or not permitted (a container's seccomp profile may refuse it), the
# tests run as they are.
tsan_runner=()
if setarch "$(uname -m)" -R true 2>/dev/null; then
  tsan_runner=(setarch "$(uname -m)" -R)
fi

stage() {
  local name=$1; shift
  local start=$SECONDS
  echo "=== ${name}"
  "$@"
  report+=("$(printf '%-28s %5ds' "$name" $((SECONDS - start)))")
}

for preset in "${presets[@]}"; do
  runner=()
  if [[ $preset == tsan ]]; then
    runner=("${tsan_runner[@]}")
  fi
  stage "configure ${preset}" cmake --preset "$preset"
  stage "build ${preset}" cmake --build --preset "$preset"
  stage "test ${preset}" "${runner[@]}" ctest --preset "$preset" -j2
done

echo "=== stage times"
printf '%s\n' "${report[@]}"
