#!/usr/bin/env bash
# cli_test.sh GROUP TOOL SAMPLE: runs the tool and checks exit codes and exact output lines.
set -uo pipefail
group=$1 sample=$3
# ZYRATUNE_RUNNER runs the tool of a cross build, e.g. under qemu-user.
read -ra runner <<<"${ZYRATUNE_RUNNER:-}"
tool=("${runner[@]}" "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# expect CODE LINE COMMAND...: the command exits with CODE and prints LINE (stdout or stderr)
# as one whole line.
expect() {
  local code=$1 line=$2
  shift 2
  local output status
  output=$("$@" 2>&1)
  status=$?
  if [[ $status != "$code" ]] || ! grep -qxF -- "$line" <<<"$output"; then
    echo "FAILED: $* (exit $status, wanted $code and line '$line')"
    echo "$output" | head -20
    failures=$((failures + 1))
  fi
}

json() { printf '%s' "$2" >"$work/$1"; }

# transcript: runs the "$ command" lines of a console transcript on stdin in this shell and
# checks that each prints the lines below it. A command ending in '&' starts a server, which
# must print them before its port line; its port stands in for the transcript's 20803.
transcript() {
  local port=20803 command="" expected="" output
  # The tool as the test runs it, e.g. under qemu-user.
  zyratune() { "${tool[@]}" "$@"; }
  run() {
    command=${command//20803/$port}
    if [[ $command == *" &" ]]; then
      # By exec, so that $! is the server itself.
      eval "exec \"\${tool[@]}\"${command#zyratune}" >"$work/server.out" 2>&1
      for _ in $(seq 50); do
        port=$(sed -n 's/.* on port \([0-9]*\)$/\1/p' "$work/server.out")
        [[ -n $port ]] && break
        sleep 0.1
      done
      output=$(cat "$work/server.out")
      [[ $output == "${expected//20803/$port}"* ]]
    else
      eval "$command" >"$work/command.out" 2>&1
      output=$(cat "$work/command.out")
      [[ $output == "${expected//20803/$port}" ]]
    fi || {
      printf 'FAILED: %s\nwanted:\n%s\ngot:\n%s\n' "$command" "$expected" "$output"
      failures=$((failures + 1))
    }
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
sample)
  expect 0 "set manager: TuningSetManager" "${tool[@]}" inspect
  expect 0 "      - aecxconvergence 10.0.0 typed, 92 bytes, entry 8, shares the values of entry 3" \
    "${tool[@]}" inspect "$sample"
  expect 0 "    Usecase.Video -> Default|Usecase.Preview" "${tool[@]}" inspect "$sample"
  # Values come through the set manager's text interface, the deepest mode holding the module
  # answering and a link followed.
  expect 0 "revision=rear_wide_gamma_snapshot" \
    "${tool[@]}" get "$sample" "Default|Usecase.Snapshot" gamma16_ife_v2.parameter_version.revision
  expect 0 "unitStepSize=0.3000000119" "${tool[@]}" get "$sample" "Default|Usecase.Video" \
    aecxconvergence.unitStepSize
  expect 0 "channel_g[32]=766" "${tool[@]}" get "$sample" "Default|Usecase.Snapshot|Feature2.MFNRBlend" \
    "gamma16_ife_v2.lumatrope_gamma16_core.mod_gamma16_trigger_data[1].region[0].channel_g_tab.channel_g[32]"
  expect 0 "minmax_en=1" "${tool[@]}" get "$sample" Default abf40_ife_v2.enable_section
  expect 0 "abf40_ife_v2=Default,Module" "${tool[@]}" info "$sample" Default
  expect 0 "gyroThreshold=0.3000000119,Float" "${tool[@]}" info "$sample" Default aecxconvergence.smartADRC
  expect 1 "zyratune: $sample: no value aecxconvergence.nosuch in mode Default" \
    "${tool[@]}" get "$sample" Default aecxconvergence.nosuch
  ;;
sensor)
  expect 0 "set manager: ImageSensorModuleSetManager" "${tool[@]}" inspect "$sample"
  expect 0 "crc:         ok 0x$(tail -c 4 "$sample" | od -An -tx4 | tr -d ' ')" "${tool[@]}" inspect "$sample"
  expect 0 "      - flashDriverData 1.0.0 typed, 66 bytes, entry 7, shares the values of entry 5" \
    "${tool[@]}" inspect "$sample"
  expect 0 "    Usecase.Video -> Default|Usecase.Preview" "${tool[@]}" inspect "$sample"
  expect 0 "        - sensorBinSocIdMap 1.0.0 typed, 20 bytes, entry 6" "${tool[@]}" inspect "$sample"
  # Values along branches: the deepest mode holding the module answers, a link follows.
  expect 0 "u16Value=1500" "${tool[@]}" get "$sample" "Default|Usecase.Snapshot" flashDriverData.u16Value
  expect 0 "u16Value=200" "${tool[@]}" get "$sample" "Default|Usecase.Video" flashDriverData u16Value,text
  expect 0 "text=flash_pmic_torch" "${tool[@]}" get "$sample" "Default|Usecase.Video" flashDriverData
  expect 0 "text=soc519" "${tool[@]}" get "$sample" "Default|Usecase.Snapshot|Feature2.MFNRBlend" \
    "sensorBinSocIdMap.socIdInfo[0].text"
  expect 0 "binName[1]=rear_wide_common.bin" "${tool[@]}" get "$sample" Default \
    "sensorBinSocIdMap.socIdInfo[0].binName[1]"
  expect 0 "u32Value1=1800000" "${tool[@]}" get "$sample" Default \
    "flashDriverData.powerSequenceInfo1.powerSetting[0].u32Value1"
  expect 0 "cameraModuleData=Default,Module" "${tool[@]}" info "$sample" Default
  expect 0 "powerSetting,Structure,2" "${tool[@]}" info "$sample" Default flashDriverData.powerSequenceInfo1
  expect 0 'Default|Usecase.ZSL flashDriverData.text = "flash_pmic_main"' "${tool[@]}" dump "$sample"
  expect 0 'Default|Usecase.Snapshot|Feature2.MFNRBlend sensorBinSocIdMap.socIdInfo[0].binName = ["rear_wide_mfnr.bin"]' \
    "${tool[@]}" dump "$sample"
  expect 1 "zyratune: $sample: no value flashDriverData.nosuch in mode Default" \
    "${tool[@]}" get "$sample" Default flashDriverData.nosuch
  expect 1 "zyratune: $sample: no value awb in mode Default" "${tool[@]}" get "$sample" Default awb
  expect 1 "zyratune: $sample: no mode path 'Usecase.Nosuch'" "${tool[@]}" info "$sample" Usecase.Nosuch
  # Usage errors.
  expect 2 "zyratune: MODEPATH is required (see zyratune --help)" "${tool[@]}" get "$sample"
  expect 2 "zyratune: A subcommand is required (see zyratune --help)" "${tool[@]}"
  expect 2 "zyratune: bad port in 'host:99999'" "${tool[@]}" tune host:99999 active-modes
  expect 2 "zyratune: custom payload 'xyz' is not hex bytes" "${tool[@]}" tune 1 custom xyz
  ;;
bad_input)
  : >"$work/empty.bin"
  head -c 200 "$sample" >"$work/short.bin"
  cp "$sample" "$work/crc.bin"
  printf '\xff' | dd of="$work/crc.bin" bs=1 seek=2000 conv=notrunc 2>/dev/null
  echo "not a binary" >"$work/text.bin"
  expect 1 "zyratune: $work/missing.bin: cannot open file" "${tool[@]}" inspect "$work/missing.bin"
  expect 1 "zyratune: $work: is a directory" "${tool[@]}" dump "$work"
  expect 1 "zyratune: $work/empty.bin: empty file" "${tool[@]}" inspect "$work/empty.bin"
  expect 1 "zyratune: $work/short.bin: not a loadable tuning binary: Binary header data too small: Expected: $(stat -c %s "$sample") bytes, Actual: 200 bytes" \
    "${tool[@]}" inspect "$work/short.bin"
  expect 1 "zyratune: $work/text.bin: not a loadable tuning binary: General error parsing binary header data header" \
    "${tool[@]}" get "$work/text.bin" Default flashDriverData
  crc=$("${tool[@]}" inspect "$work/crc.bin" 2>&1)
  [[ $crc =~ ^"zyratune: $work/crc.bin: not a loadable tuning binary: CRC mismatch (stored 0x" ]] ||
    { echo "FAILED: CRC: $crc"; failures=$((failures + 1)); }
  # A description build refuses names its file and the place in it (more in commands_test).
  json range.json '{"modes":{"mode":"Default","modules":[{"name":"flashDriverData","values":{"u16Value":70000}}]}}'
  json syntax.json '{"modes":'
  expect 1 "zyratune: $work/range.json: modes.modules[0].values.u16Value: must be an integer in range" \
    "${tool[@]}" build "$work/range.json" -o "$work/out.bin"
  expect 1 "zyratune: $work/syntax.json: modes: parse error at line 1, column 10: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal" \
    "${tool[@]}" build "$work/syntax.json" -o "$work/out.bin"
  [[ ! -e $work/out.bin ]] || { echo "FAILED: a refused description was written"; failures=$((failures + 1)); }
  ;;
round_trip)
  # The JSON dump of a binary builds back into the same bytes (more in round_trip_test).
  "${tool[@]}" dump --json "$sample" >"$work/sample.json" || failures=$((failures + 1))
  expect 0 "wrote $work/again.bin ($(stat -c %s "$sample") bytes)" \
    "${tool[@]}" build "$work/sample.json" -o "$work/again.bin"
  cmp "$sample" "$work/again.bin" || failures=$((failures + 1))
  # A value set offline changes where it is held and nowhere else; diff finds just that.
  change="Default|Usecase.Preview flashDriverData.u16Value: 200 -> 250"
  expect 0 "$change" "${tool[@]}" set "$sample" "Default|Usecase.Preview" flashDriverData.u16Value=250 \
    -o "$work/edited.bin"
  expect 1 "$change" "${tool[@]}" diff "$sample" "$work/edited.bin"
  [[ $("${tool[@]}" diff "$sample" "$work/edited.bin" | wc -l) == 1 ]] ||
    { echo "FAILED: diff lists more than the change"; failures=$((failures + 1)); }
  expect 0 '  "equal": true,' "${tool[@]}" diff --json "$sample" "$sample"
  expect 2 "zyratune: $work/none.bin: cannot open file" "${tool[@]}" diff "$sample" "$work/none.bin"
  expect 1 "zyratune: $sample: flashDriverData.flashDriverType: 7 is not a value of FlashDriverType" \
    "${tool[@]}" set "$sample" Default flashDriverData.flashDriverType=7 -o "$work/not.bin"
  expect 1 "zyratune: $sample: flashDriverData.text: is a text, which set does not change; edit it in the JSON of dump --json and build it" \
    "${tool[@]}" set "$sample" Default flashDriverData.text=x -o "$work/not.bin"
  [[ ! -e $work/not.bin ]] || { echo "FAILED: a refused set was written"; failures=$((failures + 1)); }
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
  for _ in $(seq 50); do
    port=$(sed -n 's/.* on port \([0-9]*\)$/\1/p' "$work/serve.out")
    [[ -n $port ]] && break
    sleep 0.1
  done
  if [[ -z ${port:-} ]]; then
    echo "FAILED: no port from serve: $(cat "$work/serve.out")"
    failures=$((failures + 1))
  else
    expect 0 "Usecase.Preview,Usecase.Snapshot,Usecase.ZSL,Usecase.Video" "${tool[@]}" tune "$port" modes
    expect 0 "abf21_tfe=Default,Module;aecxconvergence=Default,Module;abf40_ife_v2=Default,Module;gamma16_ife_v2=Default,Module" \
      "${tool[@]}" tune "127.0.0.1:$port" info Default
    expect 0 "parameter_version.revision=rear_wide_gamma_snapshot" \
      "${tool[@]}" tune "$port" get "Default|Usecase.Snapshot" gamma16_ife_v2 parameter_version.revision
    # A set value is read back; the fields beside it keep theirs.
    expect 0 "unitStepSize=0.25" "${tool[@]}" tune "$port" set Default aecxconvergence unitStepSize=0.25
    expect 0 "unitStepSize=0.25;moduleID=0" \
      "${tool[@]}" tune "$port" get Default aecxconvergence unitStepSize,moduleID
    expect 0 "result 0, data " "${tool[@]}" tune "$port" custom 00
    expect 2 "zyratune: tune: unknown command or wrong arguments; one of device-info, active-modes, control-values, trigger-values, modes [PATH], info PATH [MODULE], get PATH MODULE [NAMES], set PATH MODULE ASSIGNMENTS, custom [HEX]" \
      "${tool[@]}" tune "$port" get Default
  fi
  kill -INT "$server"
  wait "$server" || { echo "FAILED: serve exit $?"; failures=$((failures + 1)); }
  grep -qx stopped "$work/serve.out" || { echo "FAILED: serve did not stop"; failures=$((failures + 1)); }
  ;;
*)
  echo "unknown group $group"
  exit 2
  ;;
esac
exit $((failures != 0))
