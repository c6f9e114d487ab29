#!/usr/bin/env bash
# Runs every fuzz target of the fuzz preset for a bounded time and fails on any crash, leak
# report or timeout. Usage: scripts/fuzz.sh [seconds per target, default 60]
# Targets run side by side, one per core. FUZZ_JOBS overrides the number, FUZZ_TARGETS names
# the targets to run (all by default), FUZZ_TIMEOUT the seconds one input may take (10). Run
# the fuzz preset's build first (scripts/test-all.sh does). New inputs collect in
# build/fuzz/corpus-work/<target>/; an input that failed is kept in build/fuzz/artifacts/ and
# belongs, once fixed, in fuzz/regressions/<target>/, which the ordinary tests replay.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
jobs=${FUZZ_JOBS:-$(nproc)}
# Seconds one input may take; raise it when the fuzzers run beside other work at low priority,
# where a starved input is not a slow one.
unit_timeout=${FUZZ_TIMEOUT:-10}
bin=build/fuzz/fuzz
work=build/fuzz/corpus-work
artifacts=build/fuzz/artifacts
mkdir -p "$artifacts"

run_target() {
  local target=$1 log="$work/$1.log"
  mkdir -p "$work/$target" "fuzz/regressions/$target"
  if ! "$bin/$target" -max_total_time="$seconds" -timeout="$unit_timeout" -rss_limit_mb=2048 \
      -max_len=8192 -print_final_stats=1 -artifact_prefix="$artifacts/$target-" \
      "$work/$target" "fuzz/corpus/$target" "fuzz/regressions/$target" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "${target} FAILED; inputs in ${artifacts}/"
    return 1
  fi
}

status=0
pids=()
targets=()
for target in ${FUZZ_TARGETS:-$(basename -s .cpp fuzz/*_fuzzer.cpp)}; do
  targets+=("$target")
  echo "--- ${target}: ${seconds}s"
  run_target "$target" &
  pids+=($!)
  if ((${#pids[@]} >= jobs)); then
    wait "${pids[0]}" || status=1
    pids=("${pids[@]:1}")
  fi
done
for pid in "${pids[@]}"; do
  wait "$pid" || status=1
done

for target in "${targets[@]}"; do
  log="$work/$target.log"
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  coverage=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | sed 's/cov: //')
  printf '%-28s %10s runs %8s exec/s %6s edges\n' "$target" "${runs:-?}" "${speed:-?}" "${coverage:-?}"
done
exit "$status"
