#!/usr/bin/env bash
# The main job: install what is needed, build msrcfg and msrsim when they are missing or out of date,
# start an emulated reader on a pseudo-terminal listed as COM9, and write the reader's shipped default
# register file into it with msrcfg's console batch mode, as a production line does. Shows msrcfg's
# output and ends with its exit code.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}
"$top/scripts/install-deps.sh"
# Only the two programs (and the skins msrcfg loads); the build is incremental, so a second run is quick.
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$top" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
cmake --build "$build" -j2 --target msrcfg msrsim

# A private settings folder, so the demo never touches the user's own COM names or remembered port.
export XDG_CONFIG_HOME
XDG_CONFIG_HOME=$(mktemp -d)
sim_pid=
cleanup() {
  if [ -n "$sim_pid" ]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
  fi
  rm -rf "$XDG_CONFIG_HOME"
}
trap cleanup EXIT

port=COM9
# A KRD36AR reader whose settings were wiped (every register 00), so the write has work to do.
"$build/msrsim" --register "$port" --fill 00 >/dev/null &
sim_pid=$!
settings=$XDG_CONFIG_HOME/zk4100_MSR/settings.ini
for _ in $(seq 100); do
  grep -qi "^$port *=" "$settings" 2>/dev/null && break
  sleep 0.05
done

echo "\$ msrcfg /WriteDefault /Port:$port"
set +e
"$build/msrcfg" /WriteDefault "/Port:$port"
status=$?
set -e
echo "msrcfg exit code: $status"
exit "$status"
