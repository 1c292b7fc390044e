#!/usr/bin/env bash
# Soak run of the console batch write against flaky emulated readers.
#
#   scripts/soak.sh [--runs N] [--jobs J] [--short] [--seed S] [--keep]
#
# Each run gets a private settings folder and an emulated reader registered as COM9 that drops 5 % of its
# replies, spoils 2 % of its checksums, answers 10 % of its polls "N" and answers after a random latency of
# up to 400 ms. The reader starts from an image that differs from the file to be written (the factory
# image with some registers changed, now and then random throughout, sometimes with an alias), then
# `msrcfg /WriteFile:<file> /Port:COM9` (one run in four `/WriteDefault`) runs, the reader is stopped and
# saves its image, and the image is compared with what the write should have left in it.
#
# Exit codes other than 0 are what faults are expected to cause; they are counted. The soak fails (exit 1)
# when a run exited 0 while the reader's image differs from the file, when msrcfg crashed or hung (killed
# after a per-run limit), or when the emulator could not be run. Run i uses seed S + i for its images and
# its faults; `--runs 1 --seed <seed>` plays a run again, `--keep` keeps its folder to look at.
#
# --short is the CI version: 12 runs, 4 at a time, the same fault mix.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}

runs=1000
jobs=4
base_seed=$(date +%s)
keep=false
usage() {
  sed -n '4p' "$0" | sed 's/^#  *//' >&2
  exit 2
}
while [ $# -gt 0 ]; do
  case $1 in
    --runs) runs=${2:?}; shift 2 ;;
    --jobs) jobs=${2:?}; shift 2 ;;
    --seed) base_seed=${2:?}; shift 2 ;;
    --short) runs=12; jobs=4; shift ;;
    --keep) keep=true; shift ;;
    *) usage ;;
  esac
done
[[ $runs =~ ^[0-9]+$ && $jobs =~ ^[1-9][0-9]*$ && $base_seed =~ ^[0-9]+$ ]] || usage

# The fault mix, and how long one write may take before it counts as hung.
faults=(--drop-percent 5 --bad-checksum-percent 2 --not-ready-percent 10 --latency-max 400)
run_limit_s=600
port=COM9
# The reader's baud-rate register: the write must not move the line away from the host's 19200 bit/s.
baud_register=1
alias_first=224
alias_length=16

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build" -j2 --target msrcfg msrsim >/dev/null

work=$(mktemp -d "${TMPDIR:-/tmp}/msr-soak.XXXXXX")
cleanup() {
  trap - EXIT INT TERM
  # The runs first, so none starts another program; then every program a run started, whose id it left
  # in its folder.
  local pid file programs=()
  for pid in $(jobs -p); do kill "$pid" 2>/dev/null || true; done
  for file in "$work"/run-*/*.pid; do
    [ -f "$file" ] && programs+=("$(cat "$file")")
  done
  for pid in "${programs[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  # They are not this shell's children: wait until they are gone (a stopped reader still saves its image).
  for _ in $(seq 300); do
    local alive=false
    for pid in "${programs[@]}"; do kill -0 "$pid" 2>/dev/null && alive=true; done
    $alive || break
    sleep 0.05
  done
  if $keep; then echo "run folders kept in $work"; else rm -rf "$work"; fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# ---- register images: 512 hexadecimal digits, register 0 first ----
# The helpers change the global `img` in place: RANDOM, which a command substitution would copy, must
# stay one sequence per run so that a seed gives the same images again.

registers_of() { sed -n 's/^Registers *= *//p' "$1" | tr -d ' \t\r' | tr a-f A-F; }
# set_register REG VALUE
set_register() {
  local byte
  printf -v byte '%02X' "$2"
  img=${img:0:$((2 * $1))}$byte${img:$((2 * $1 + 2))}
}
# A register that a run may change: anything but the baud-rate register and the alias area.
changeable() { [ "$1" -ne "$baud_register" ] && { [ "$1" -lt "$alias_first" ] || [ "$1" -ge $((alias_first + alias_length)) ]; }; }
# change_registers COUNT: COUNT registers (repeats allowed) set to a value they did not hold.
change_registers() {
  local reg old n
  for ((n = 0; n < $1; n++)); do
    reg=$((RANDOM % 256))
    changeable "$reg" || continue
    old=$((16#${img:$((2 * reg)):2}))
    set_register "$reg" $(((old + 1 + RANDOM % 255) % 256))
  done
}
# Every changeable register random.
randomize_registers() {
  local reg
  for ((reg = 0; reg < 256; reg++)); do
    changeable "$reg" && set_register "$reg" $((RANDOM % 256))
  done
}
# set_alias TEXT: the alias area holds TEXT padded with FF, as a reader keeps it.
set_alias() {
  local area="" i byte
  for ((i = 0; i < alias_length; i++)); do
    if [ "$i" -lt "${#1}" ]; then printf -v byte '%02X' "'${1:$i:1}"; else byte=FF; fi
    area+=$byte
  done
  img=${img:0:$((2 * alias_first))}$area${img:$((2 * (alias_first + alias_length)))}
}
alias_area_of() { echo "${1:$((2 * alias_first)):$((2 * alias_length))}"; }
with_alias_area() { echo "${1:0:$((2 * alias_first))}$2${1:$((2 * (alias_first + alias_length)))}"; }

factory=$(registers_of "$build/Default/KRD36AR.cfg")
# A default file that a reader's alias can name in place of its model's.
alias_model=QV-R4410-03
alias_model_image=$(registers_of "$build/Default/$alias_model.cfg")
for image in "$factory" "$alias_model_image"; do
  [ ${#image} -eq 512 ] || { echo "soak: a factory image in $build/Default is missing" >&2; exit 1; }
done

# ---- one run: writes "seed exit equal seconds" into its folder's result file ----

one_run() {
  local index=$1 seed=$2
  local dir=$work/run-$index
  mkdir -p "$dir/config"
  RANDOM=$seed

  # Three writes in four: a file, the factory image with a few registers of its own, now and then with
  # an alias name. One in four: the model's default file (/WriteDefault), which reads the reader's alias
  # first, one register at a time; an alias that names a default file chooses that file instead.
  local img=$factory file_image file_alias="" reader_alias="" target
  if [ $((RANDOM % 4)) -ne 0 ]; then
    change_registers $((1 + RANDOM % 8))
    [ $((RANDOM % 4)) -eq 0 ] && file_alias="SOAK-$((RANDOM % 1000))"
    [ $((RANDOM % 3)) -eq 0 ] && reader_alias="R$((RANDOM % 100000))"
    {
      echo "[MSRRegister]"
      echo "Module = KRD36AR"
      [ -n "$file_alias" ] && echo "AliasName = $file_alias"
      echo "Registers = $img"
    } >"$dir/file.cfg"
    target=/WriteFile:$dir/file.cfg
  else
    case $((RANDOM % 3)) in
      0) reader_alias=$alias_model; img=$alias_model_image ;;
      1) reader_alias="R$((RANDOM % 100000))" ;;
    esac
    target=/WriteDefault
  fi
  file_image=$img

  # The reader: mostly the file with up to 24 registers changed, one run in 20 random throughout.
  if [ $((RANDOM % 20)) -eq 0 ]; then randomize_registers; else change_registers $((1 + RANDOM % 24)); fi
  [ -n "$reader_alias" ] && set_alias "$reader_alias"
  local start_image=$img expected
  printf '[MSRRegister]\nModule = KRD36AR\nRegisters = %s\n' "$start_image" >"$dir/start.cfg"

  # What the write must leave: the file's registers, and the file's alias, or else the reader's own.
  if [ -n "$file_alias" ]; then
    set_alias "$file_alias"
    expected=$(with_alias_area "$file_image" "$(alias_area_of "$img")")
  else
    expected=$(with_alias_area "$file_image" "$(alias_area_of "$start_image")")
  fi

  export XDG_CONFIG_HOME=$dir/config
  "$build/msrsim" --register "$port" --cfg "$dir/start.cfg" --save-cfg "$dir/end.cfg" --seed "$seed" \
    "${faults[@]}" --log >"$dir/sim.out" 2>"$dir/sim.log" </dev/null &
  local sim=$!
  echo "$sim" >"$dir/sim.pid"
  local settings=$XDG_CONFIG_HOME/zk4100_MSR/settings.ini
  for _ in $(seq 200); do
    grep -qi "^$port *=" "$settings" 2>/dev/null && break
    sleep 0.05
  done

  local began ended status=0
  began=$(date +%s.%N)
  timeout -k 10 "$run_limit_s" "$build/msrcfg" "$target" "/Port:$port" \
    >"$dir/msrcfg.log" 2>&1 </dev/null &
  echo $! >"$dir/msrcfg.pid"
  wait $! || status=$?
  ended=$(date +%s.%N)
  rm -f "$dir/msrcfg.pid"

  kill -TERM "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  rm -f "$dir/sim.pid"
  local equal=no
  if [ -f "$dir/end.cfg" ]; then
    [ "$(registers_of "$dir/end.cfg")" = "$expected" ] && equal=yes
  else
    equal=missing
  fi
  echo "$seed $status $equal $(echo "$ended - $began" | bc)" >"$dir/result"
}

meaning() {
  case $1 in
    0) echo "written and checked" ;;
    1) echo "reader not supported (poll not answered)" ;;
    2) echo "no reader found" ;;
    3) echo "port not opened" ;;
    4) echo "reading registers failed" ;;
    5) echo "writing a register failed" ;;
    6) echo "check after writing failed" ;;
    124 | 137) echo "HUNG: stopped after ${run_limit_s} s" ;;
    255) echo "a step before the reader failed (-1)" ;;
    *) if [ "$1" -gt 128 ]; then echo "CRASHED: signal $(($1 - 128))"; else echo "unknown"; fi ;;
  esac
}

echo "soak: $runs runs, $jobs at a time, seeds $base_seed..$((base_seed + runs - 1)), faults: ${faults[*]}"
started=$(date +%s.%N)
for ((i = 0; i < runs; i++)); do
  while [ "$(jobs -rp | wc -l)" -ge "$jobs" ]; do wait -n || true; done
  one_run "$i" $((base_seed + i)) &
done
wait

# ---- the table ----
finished=$(date +%s.%N)
declare -A count equal_count
failed=0
total_time=0
done_runs=0
for ((i = 0; i < runs; i++)); do
  result=$work/run-$i/result
  if [ ! -f "$result" ]; then
    echo "run $i (seed $((base_seed + i))): no result, the run itself failed"
    failed=1
    continue
  fi
  read -r seed status equal seconds <"$result"
  done_runs=$((done_runs + 1))
  total_time=$(echo "$total_time + $seconds" | bc)
  count[$status]=$((${count[$status]:-0} + 1))
  [ "$equal" = yes ] && equal_count[$status]=$((${equal_count[$status]:-0} + 1))
  bad=""
  if [ "$equal" = missing ]; then
    bad="the reader saved no image"
  elif [ "$status" -eq 0 ] && [ "$equal" != yes ]; then
    bad="exit 0 but the reader's image differs from the file"
  elif [ "$status" -eq 124 ] || [ "$status" -eq 137 ] || { [ "$status" -gt 128 ] && [ "$status" -ne 255 ]; }; then
    bad=$(meaning "$status")
  fi
  if [ -n "$bad" ]; then
    echo "run $i seed $seed: FAILED: $bad"
    failed=1
  elif [ "$status" -ne 0 ]; then
    echo "run $i seed $seed: exit $status ($(meaning "$status")), image $([ "$equal" = yes ] && echo equal || echo differs)"
  fi
done

echo
printf '%5s  %-42s %6s %12s\n' exit meaning runs "image equal"
for status in $(printf '%s\n' "${!count[@]}" | sort -n); do
  printf '%5s  %-42s %6s %12s\n' "$status" "$(meaning "$status")" "${count[$status]}" "${equal_count[$status]:-0}"
done
wall=$(echo "$finished - $started" | bc)
mean=$([ "$done_runs" -gt 0 ] && echo "scale=1; $total_time / $done_runs" | bc || echo 0)
printf '\nruns: %d   wall time: %.0f s   mean time per run: %s s\n' "$done_runs" "$wall" "$mean"
if [ "$failed" -ne 0 ]; then
  echo "soak: FAILED"
  exit 1
fi
echo "soak: OK"
