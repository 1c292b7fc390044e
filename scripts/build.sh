#!/usr/bin/env bash
# Configures and builds into ./build (or $MSR_BUILD_DIR). Extra arguments go to cmake's configure step.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}
cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$build" -j2
