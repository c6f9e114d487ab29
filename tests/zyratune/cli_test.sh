#!/usr/bin/env bash
# cli_test.sh GROUP TOOL SAMPLE: runs the tool as a user does, a check or two per command,
# and checks exit codes and exact output lines.
set -uo pipefail
group=$1 sample=$3
# ZYRATUNE_RUNNER runs the tool of a cross build, e.g. under qemu-user.
read -ra runner <<<"${ZYRATUNE_RUNNER:-}"
tool=("${runner[@]}" "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# expect CODE LINE COMMAND...: the command exits with CODE and prints LINE (stdout or stderr)
# as one whole line.
expect() {
  local code=$1 line=$2 output status
  shift 2
  output=$("$@" 2>&1)
  status=$?
  if [[ $status != "$code" ]] || ! grep -qxF -- "$line" <<<"$output"; then
    fail "$* (exit $status, wanted $code and line '$line')"
    echo "$output" | head -20
  fi
}

# Waits for a server started with its output in FILE and sets $port from its port line.
await_port() {
  port=
  for _ in $(seq 50); do
    port=$(sed -n 's/.* on port \([0-9]*\)$/\1/p' "$1")
    [[ -n $port ]] && return 0
    sleep 0.1
  done
  return 1
}

# transcript: runs the "$ command" lines of a console transcript on stdin in this shell and
# checks that each prints the lines below it. A command ending in '&' starts a server, which
# must print them before its port line; its port stands in for the transcript's 20803.
transcript() {
  local port=20803 command="" expected="" output
  zyratune() { "${tool[@]}" "$@"; }
  run() {
    command=${command//20803/$port}
    if [[ $command == *" &" ]]; then
      # By exec, so that $! is the server itself.
      eval "exec \"\${tool[@]}\"${command#zyratune}" >"$work/server.out" 2>&1
      await_port "$work/server.out"
      output=$(cat "$work/server.out")
      [[ $output == "${expected//20803/$port}"* ]]
    else
      # In this shell, so that the transcript's variables stay set.
      eval "$command" >"$work/command.out" 2>&1
      output=$(cat "$work/command.out")
      [[ $output == "${expected//20803/$port}" ]]
    fi || fail "$command"$'\n'"wanted:"$'\n'"$expected"$'\n'"got:"$'\n'"$output"
  }
  while IFS= read -r line; do
    if [[ $line == '$ '* ]]; then
      [[ -n $command ]] && run
      command=${line#\$ } expected=""
    else
      expected+=${expected:+$'\n'}$line
    fi
  done
  run
  wait
}

case $group in
commands)
  # Values come through the set manager's text interface, a link followed.
  expect 0 "    Usecase.Video -> Default|Usecase.Preview" "${tool[@]}" inspect
  expect 0 "unitStepSize=0.3000000119" "${tool[@]}" get "$sample" "Default|Usecase.Video" \
    aecxconvergence.unitStepSize
  expect 0 "gyroThreshold=0.3000000119,Float" "${tool[@]}" info "$sample" Default aecxconvergence.smartADRC
  expect 0 "Default|Usecase.Preview aecxconvergence.unitStepSize = 0.3" "${tool[@]}" dump "$sample"
  # A module without a schema is listed, dumped and read as its bytes.
  abf=0200000001000000000000000000c03f40008000c000ff000000803f00000041
  expect 0 "    - abf21_tfe 2.1.0 opaque, 32 bytes, entry 4" "${tool[@]}" inspect "$sample"
  expect 0 "Default abf21_tfe.bytes = \"$abf\"" "${tool[@]}" dump "$sample"
  expect 0 "$abf" "${tool[@]}" get --raw "$sample" Default abf21_tfe
  # The JSON dump builds back into the same bytes; a value set offline is all diff finds.
  "${tool[@]}" dump --json "$sample" >"$work/sample.json" || fail "dump --json"
  expect 0 "wrote $work/again.bin ($(stat -c %s "$sample") bytes)" \
    "${tool[@]}" build "$work/sample.json" -o "$work/again.bin"
  cmp "$sample" "$work/again.bin" || fail "build of dump --json differs"
  change="Default|Usecase.Preview aecxconvergence.unitStepSize: 0.3 -> 0.25"
  expect 0 "$change" "${tool[@]}" set "$sample" "Default|Usecase.Preview" \
    aecxconvergence.unitStepSize=0.25 -o "$work/edited.bin"
  expect 1 "$change" "${tool[@]}" diff "$sample" "$work/edited.bin"
  expect 0 '  "equal": true,' "${tool[@]}" diff --json "$sample" "$sample"
  # Bad input is exit 1 naming the file, a wrong command line exit 2.
  head -c 200 "$sample" >"$work/short.bin"
  expect 1 "zyratune: $work/short.bin: not a loadable tuning binary: Binary header data too small: Expected: $(stat -c %s "$sample") bytes, Actual: 200 bytes" \
    "${tool[@]}" inspect "$work/short.bin"
  expect 2 "zyratune: $work/none.bin: cannot open file" "${tool[@]}" diff "$sample" "$work/none.bin"
  printf '{"modes":' >"$work/syntax.json"
  expect 1 "zyratune: $work/syntax.json: modes: parse error at line 1, column 10: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal" \
    "${tool[@]}" build "$work/syntax.json" -o "$work/out.bin"
  [[ ! -e $work/out.bin ]] || fail "a refused description was written"
  expect 2 "zyratune: MODEPATH is required (see zyratune --help)" "${tool[@]}" get "$sample"
  ;;
schema)
  # A schema that disagrees with the catalogue is a warning, and its module stays bytes.
  mkdir "$work/bad"
  printf '%s\n' "namespace abf_2_1_0" "version 2.1.3" "module lumatrope_abf21Type abf21_tfe" \
    "struct lumatrope_abf21Type" "  gain Float" "end" >"$work/bad/abf_2_1_0.schema"
  expect 1 "zyratune: warning: $work/bad/abf_2_1_0.schema:4: version 2.1.3 of 'lumatrope_abf21Type' differs from the catalogue's 2.1.0" \
    "${tool[@]}" get --schema-dir "$work/bad" "$sample" Default abf21_tfe.gain
  expect 1 "zyratune: $work/none: cannot read schema directory" \
    "${tool[@]}" inspect --schema-dir "$work/none" "$sample"
  # The worked example of docs/schema-format.md, as written, in a copy of the repository's
  # layout holding this build's sample.
  repo=$(cd "$(dirname "$0")/../.." && pwd)
  tool=("${runner[@]}" "$(realpath "$2")")
  mkdir -p "$work/build/release/tools/zyratune"
  ln -s "$(realpath "$sample")" "$work/build/release/tools/zyratune/sample.bin"
  ln -s "$repo/docs" "$work/docs"
  cd "$work" || exit 2
  transcript < <(sed -n '/^<!-- zyratune_schema -->$/,/^```$/p' "$repo/docs/schema-format.md" |
    sed '1,2d;$d')
  ;;
live)
  "${tool[@]}" serve "$sample" >"$work/serve.out" 2>&1 &
  server=$!
  if ! await_port "$work/serve.out"; then
    fail "no port from serve: $(cat "$work/serve.out")"
  else
    expect 0 "Usecase.Preview,Usecase.Snapshot,Usecase.ZSL,Usecase.Video" "${tool[@]}" tune "$port" modes
    # Reading and setting values over the wire is in the worked example (group schema).
    expect 0 "abf21_tfe=Default,Module;aecxconvergence=Default,Module;abf40_ife_v2=Default,Module;gamma16_ife_v2=Default,Module" \
      "${tool[@]}" tune "127.0.0.1:$port" info Default
    expect 0 "result 0, data " "${tool[@]}" tune "$port" custom 00
    expect 2 "zyratune: bad port in 'host:99999'" "${tool[@]}" tune host:99999 active-modes
  fi
  kill -INT "$server"
  wait "$server" || fail "serve exit $?"
  grep -qx stopped "$work/serve.out" || fail "serve did not stop"
  ;;
*)
  echo "unknown group $group"
  exit 2
  ;;
esac
exit $((failures != 0))
