#!/usr/bin/env bash
# Installs what is needed, builds everything with warnings as errors and runs every test.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}
"$top/scripts/install-deps.sh"
MSR_BUILD_DIR=$build "$top/scripts/build.sh" -DMSR_WERROR=ON
cd "$build"
ctest --output-on-failure -j2 --timeout 120
