#!/usr/bin/env bash
# The main job: install what is needed, build, start an emulated reader on a pseudo-terminal and talk to
# it through the protocol stack, showing every exchange and the exit code.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${MSR_BUILD_DIR:-$top/build}
"$top/scripts/install-deps.sh"
MSR_BUILD_DIR=$build "$top/scripts/build.sh"

# A private settings folder, so the demo never touches the user's own COM names.
export XDG_CONFIG_HOME
XDG_CONFIG_HOME=$(mktemp -d)
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null
  rm -rf "$XDG_CONFIG_HOME"
}
trap cleanup EXIT

port=COM9
"$build/msrsim" --register "$port" &
sim_pid=$!
settings=$XDG_CONFIG_HOME/zk4100_MSR/settings.ini
for _ in $(seq 100); do
  grep -qi "^$port *=" "$settings" 2>/dev/null && break
  sleep 0.05
done

set +e
"$build/gnetprobe" "$port"
status=$?
set -e
echo "gnetprobe exit code: $status"
exit "$status"
