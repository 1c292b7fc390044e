#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each one for SECONDS on a copy of its seed corpus.
#   scripts/fuzz.sh [SECONDS] [TARGET...]      default: 60 seconds, every target in tests/fuzz/corpus/
# The build folder is ${MSR_FUZZ_BUILD_DIR:-build-fuzz}; crash reproducers and logs land in its
# fuzz-artifacts/. The repository's corpus is never changed: what a run finds stays in a temporary copy.
# Exits non-zero when any target found a crash, a leak, a time-out or a sanitizer report.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
[ $# -gt 0 ] && shift
build=${MSR_FUZZ_BUILD_DIR:-$top/build-fuzz}
corpus=$top/tests/fuzz/corpus

# libFuzzer and the sanitizer run-times come with clang; the platform layer needs libudev's headers.
"$top/scripts/install-deps.sh" clang libclang-rt-14-dev cmake make pkg-config libudev-dev

if (($#)); then
  targets=("$@")
else
  targets=()
  for dir in "$corpus"/*/; do targets+=("$(basename "$dir")"); done
fi

cmake -S "$top" -B "$build" -DMSR_FUZZ=ON -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j2 --target "${targets[@]}"

artifacts=$build/fuzz-artifacts
mkdir -p "$artifacts"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# One target's run; its table row goes to $work/<target>.row, its status is the script's.
run_target() {
  # Runs in a job of its own: the look into a failed run's log must not end it before its row is written.
  set +e +o pipefail
  local target=$1 status=0
  mkdir -p "$work/$target"
  [ -d "$corpus/$target" ] && cp -r "$corpus/$target/." "$work/$target/"
  local log=$artifacts/$target.log
  echo "== $target: ${seconds} s"
  "$build/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$artifacts/$target-" "$work/$target" >"$log" 2>&1 || status=$?
  local runs speed coverage files result=ok
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  coverage=$(grep -ao 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2)
  files=$(find "$work/$target" -type f | wc -l)
  if ((status != 0)); then
    result=$(grep -aoE 'ERROR: (AddressSanitizer|UndefinedBehaviorSanitizer|LeakSanitizer|libFuzzer): [a-z-]+' "$log" |
      head -1 | sed 's/^ERROR: //')
    grep -aq 'runtime error:' "$log" && result="undefined behaviour"
    grep -aq 'invariant failed' "$log" && result="invariant failed"
    [ -n "$result" ] || result="exit status $status"
    echo "   $target: $result; log: $log"
    grep -a -m3 -E 'invariant failed|runtime error|SUMMARY|Test unit written' "$log" | sed 's/^/   /'
  fi
  printf '%-28s %10s %8s %6s %8s  %s\n' "$target" "${runs:-?}" "${speed:-?}" "${coverage:-?}" "$files" \
    "$result" >"$work/$target.row"
  return "$status"
}

# Each fuzzer is single-threaded: as many run side by side as there are cores (MSR_FUZZ_JOBS), so the
# time per target stays what was asked while the whole run takes a fraction of it.
jobs=${MSR_FUZZ_JOBS:-$(nproc)}
failed=0
running=0
for target in "${targets[@]}"; do
  if ((running >= jobs)); then
    wait -n || failed=1
    running=$((running - 1))
  fi
  run_target "$target" &
  running=$((running + 1))
done
while ((running > 0)); do
  wait -n || failed=1
  running=$((running - 1))
done

echo
printf '%-28s %10s %8s %6s %8s  %s\n' target runs exec/s cov corpus result
for target in "${targets[@]}"; do cat "$work/$target.row"; done
exit $failed
