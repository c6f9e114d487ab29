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

# Size of the shipped library once stripped, as a device build installs it (budget: 8 MB).
print_stripped_size() {
  local stripped
  stripped=$(mktemp)
  strip -o "$stripped" "build/$1/src/libzyrapdparser.so"
  echo "stripped libzyrapdparser.so: $(stat -c %s "$stripped") bytes"
  rm -f "$stripped"
}

for preset in "${presets[@]}"; do
  runner=()
  if [[ $preset == tsan ]]; then
    runner=("${tsan_runner[@]}")
  fi
  stage "configure ${preset}" cmake --preset "$preset"
  stage "build ${preset}" cmake --build --preset "$preset"
  if [[ $preset == release ]]; then
    report+=("$(print_stripped_size "$preset")")
    # Hand-written test lines against code lines (kept near a quarter to a third).
    report+=("$(scripts/line-counts.py)")
    # Typed and opaque shares of the module catalogue, then each typed class's size.
    python3 codegen/schema_coverage.py
  fi
  stage "test ${preset}" "${runner[@]}" ctest --preset "$preset" -j2
done

# The library as an integrator gets it, from the release build: installed into a moved prefix
# and as amd64 packages, each with its consumers (tests/install/check.sh).
stage "install + consumers" tests/install/check.sh install release
stage "packages amd64" tests/install/check.sh packages release

# libFuzzer targets with ASan + UBSan, each for FUZZ_SECONDS (scripts/fuzz.sh runs them
# longer by hand).
stage "configure fuzz" cmake --preset fuzz
stage "build fuzz" cmake --build --preset fuzz
stage "fuzz ${FUZZ_SECONDS:-60}s per target" ./scripts/fuzz.sh "${FUZZ_SECONDS:-60}"

# The whole suite built for AArch64 and run under qemu-user.
stage "googletest aarch64" ./scripts/build-aarch64-googletest.sh
stage "configure aarch64" cmake --preset aarch64
stage "build aarch64" cmake --build --preset aarch64
stage "test aarch64 (qemu)" ctest --preset aarch64 -j2
stage "packages arm64" tests/install/check.sh packages aarch64

echo "=== stage times"
printf '%s\n' "${report[@]}"
