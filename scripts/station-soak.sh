#!/usr/bin/env bash
# Soak run of the production station against flaky emulated readers that come and go.
#
#   scripts/station-soak.sh [--seconds N] [--ports P] [--seed S] [--short] [--keep]
#
# One station (msrcfg --station --write-default --trace) watches P ports, COM11 and up. On each port one
# emulated reader after another appears, each with a serial number of its own: a wiped image, 5 % of its
# replies dropped, 2 % of its checksums spoilt, 10 % of its polls answered "N", up to 40 ms of latency, and
# one in three with a line that closes after a random number of transactions (a reader pulled out during
# its job). A reader is taken away once its result line is out, or goes by itself when its line closed;
# either way it saves its image. After N seconds (default 600) the station is stopped with SIGTERM and the
# soak checks every reader:
#   - at most one trace row, and as many result lines as rows: a reader is written once while it stays;
#   - a reader whose row says 0 holds the image a faultless reader got from the station first;
#   - the station ended with 0 or 7, and its summary counts every row.
# It fails (exit 1) when one of these does not hold. Reader k of port p uses seed S + 1000 p + k.
# --short is the CI version: 60 seconds on 4 ports.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}

seconds=600
ports=4
base_seed=$(date +%s)
keep=false
usage() {
  sed -n '4p' "$0" | sed 's/^#  *//' >&2
  exit 2
}
while [ $# -gt 0 ]; do
  case $1 in
    --seconds) seconds=${2:?}; shift 2 ;;
    --ports) ports=${2:?}; shift 2 ;;
    --seed) base_seed=${2:?}; shift 2 ;;
    --short) seconds=60; ports=4; shift ;;
    --keep) keep=true; shift ;;
    *) usage ;;
  esac
done
[[ $seconds =~ ^[0-9]+$ && $ports =~ ^[1-9][0-9]?$ && $base_seed =~ ^[0-9]+$ ]] || usage

faults=(--drop-percent 5 --bad-checksum-percent 2 --not-ready-percent 10 --latency-max 40)
# How long one reader may wait for its result line before the soak counts the station as hung.
reader_limit_s=180

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build" -j2 --target msrcfg msrsim msr_skins >/dev/null

work=$(mktemp -d "${TMPDIR:-/tmp}/msr-station-soak.XXXXXX")
station_pid=""
cleanup() {
  trap - EXIT INT TERM
  [ -n "$station_pid" ] && kill "$station_pid" 2>/dev/null
  pkill -P $$ 2>/dev/null || true
  wait 2>/dev/null || true
  if $keep; then echo "station-soak: kept $work" >&2; else rm -rf "$work"; fi
}
trap cleanup EXIT INT TERM
export XDG_CONFIG_HOME=$work/config
mkdir -p "$XDG_CONFIG_HOME" "$work/img" "$work/log"
cd "$work"

port_names=()
for ((p = 0; p < ports; p++)); do port_names+=("COM$((11 + p))"); done
# The output file exists before the first look at it, not only once the background job has opened it.
: >station.out
"$build/msrcfg" --station --write-default --ports "$(IFS=,; echo "${port_names[*]}")" --trace trace.csv \
  >station.out 2>station.err &
station_pid=$!

# One reader on `port` with serial number `serial` and the msrsim options after them; returns once its
# result line is out or its line has closed, with the reader gone and its image saved.
reader() {
  local port=$1 serial=$2
  shift 2
  "$build/msrsim" --register "$port" --fill 00 --version-text "$serial, V1.00" --save-cfg "img/$serial.cfg" \
    "$@" >"log/$serial.sim" 2>&1 &
  local pid=$! waited=0
  while kill -0 "$pid" 2>/dev/null && ! grep -q " SN $serial " station.out; do
    sleep 0.2
    waited=$((waited + 1))
    if ((waited > reader_limit_s * 5)); then
      echo "station-soak: no result for $serial within $reader_limit_s s" >&2
      kill "$pid" 2>/dev/null || true
      echo "$serial" >>hung
      break
    fi
  done
  kill "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

# The image a faultless reader gets is what every reader that ends with 0 must hold.
reader COM11 REF
[ -f img/REF.cfg ] && grep -q " SN REF .* 0 written and checked" station.out || {
  echo "station-soak: the faultless reader was not written: $(cat station.out station.err)" >&2
  exit 1
}
reference=$(grep '^Registers' img/REF.cfg)

end=$(($(date +%s) + seconds))
port_loop() {
  local index=$1 port=$2 k=0
  while (($(date +%s) < end)); do
    k=$((k + 1))
    local seed=$((base_seed + 1000 * index + k)) extra=()
    ((seed % 3 == 0)) && extra=(--close-after $((4 + seed % 120)))
    reader "$port" "$port-$k" "${faults[@]}" --seed "$seed" "${extra[@]}"
  done
}
for ((p = 0; p < ports; p++)); do port_loop "$p" "${port_names[p]}" & done
wait $(jobs -p | grep -v "^$station_pid\$") 2>/dev/null || true

kill -TERM "$station_pid"
code=0
wait "$station_pid" || code=$?
station_pid=""

failed=0
complain() {
  echo "station-soak: $*" >&2
  failed=1
}
[ -s hung ] && complain "readers without a result: $(tr '\n' ' ' <hung)"
[[ $code == 0 || $code == 7 ]] || complain "the station ended with $code: $(tail -5 station.err)"
# The rows: serial number in column 9 and the result third from the end, the identification's own two
# commas counted (it is the only quoted field of these rows).
awk -F, 'NR > 1 { print $9, $(NF - 2) }' trace.csv >rows
declare -A codes=()
readers=0
while read -r serial result; do
  codes[$result]=$((${codes[$result]:-0} + 1))
  readers=$((readers + 1))
  [ "$result" = 0 ] || continue
  [ "$(grep '^Registers' "img/$serial.cfg" 2>/dev/null)" = "$reference" ] ||
    complain "$serial ended with 0 but holds another image"
done <rows
duplicates=$(cut -d' ' -f1 rows | sort | uniq -d | tr '\n' ' ')
[ -z "$duplicates" ] || complain "written more than once: $duplicates"
lines=$(grep -c " SN " station.out || true)
((lines == readers)) || complain "$lines result lines for $readers trace rows"
grep -q "Station stopped after .*: $readers reader" station.out || complain "the summary does not count $readers"

never=$(find img -name '*.cfg' | wc -l)
echo "station-soak: $seconds s, $ports ports, seeds from $base_seed: $readers readers traced," \
  "$((never - readers)) gone before the station found them; station exit code $code"
for result in $(printf '%s\n' "${!codes[@]}" | sort -n); do
  printf '  result %-4s %5d\n' "$result" "${codes[$result]}"
done
if ((failed)); then
  keep=true
  exit 1
fi
echo "station-soak: OK"
