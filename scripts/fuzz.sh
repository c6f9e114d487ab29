#!/usr/bin/env bash
# Runs every fuzz target of the fuzz preset for a bounded time and fails on any crash, leak
# report or timeout. Usage: scripts/fuzz.sh [seconds per target, default 60]
# Run the fuzz preset's build first (scripts/test-all.sh does). New inputs collect in
# build/fuzz/corpus-work/<target>/; an input that failed is kept in build/fuzz/artifacts/
# and belongs, once fixed, in fuzz/regressions/<target>/, which the ordinary tests replay.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
bin=build/fuzz/fuzz
work=build/fuzz/corpus-work
artifacts=build/fuzz/artifacts
mkdir -p "$artifacts"

targets=()
for source in fuzz/*_fuzzer.cpp; do
  targets+=("$(basename "$source" .cpp)")
done

status=0
summary=()
for target in "${targets[@]}"; do
  mkdir -p "$work/$target" "fuzz/regressions/$target"
  log="$work/$target.log"
  echo "--- ${target}: ${seconds}s"
  if ! "$bin/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
      -print_final_stats=1 -artifact_prefix="$artifacts/$target-" \
      "$work/$target" "fuzz/corpus/$target" "fuzz/regressions/$target" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "${target} FAILED; inputs in ${artifacts}/"
    status=1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -n 1)
  summary+=("$(printf '%-24s %10s runs %8s exec/s' "$target" "${runs:-?}" "${speed:-?}")")
done
printf '%s\n' "${summary[@]}"
exit "$status"
