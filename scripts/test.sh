#!/usr/bin/env bash
# Installs what is needed and runs every check CI runs, in this order:
#   1. the normal build (warnings as errors) and every test;
#   2. the same tests built with AddressSanitizer and UndefinedBehaviorSanitizer (./build-asan);
#   3. every fuzz target for 60 seconds from its seed corpus (./build-fuzz, clang);
#   4. the short soaks: console batch writes, and a production station, against emulated readers with
#      faults on;
#   5. the Debian package: built, checked by lintian, installed, used, removed (scripts/package-test.sh).
# MSR_BUILD_DIR, MSR_ASAN_BUILD_DIR and MSR_FUZZ_BUILD_DIR pick other build folders.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}
asan_build=${MSR_ASAN_BUILD_DIR:-$top/build-asan}
"$top/scripts/install-deps.sh"

section() { printf '\n=== %s (%s)\n' "$1" "$(date +%T)"; }

section "build and tests"
MSR_BUILD_DIR=$build "$top/scripts/build.sh" -DMSR_WERROR=ON
(cd "$build" && ctest --output-on-failure -j2 --timeout 120)

section "tests under AddressSanitizer and UndefinedBehaviorSanitizer"
MSR_BUILD_DIR=$asan_build "$top/scripts/build.sh" -DMSR_WERROR=ON -DMSR_SANITIZE=ON
# Any report ends the test that caused it; leaks are reported when a test program ends.
(cd "$asan_build" &&
  ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
    UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --output-on-failure -j2 --timeout 240)

section "fuzz targets, 60 seconds each"
bash "$top/scripts/fuzz.sh" 60

section "short soak"
MSR_BUILD_DIR=$build bash "$top/scripts/soak.sh" --short

section "short station soak"
MSR_BUILD_DIR=$build bash "$top/scripts/station-soak.sh" --short

section "Debian package"
bash "$top/scripts/package-test.sh"
