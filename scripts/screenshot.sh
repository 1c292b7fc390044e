#!/usr/bin/env bash
# Takes a picture of msrcfg's main window after a Read from an emulated reader, on a virtual X display:
# msrsim answers as COM4 (the port the window scans at start-up), msrcfg finds it, loads its skin, and
# then the Read button is pressed from the keyboard (Alt+R).
#
#   scripts/screenshot.sh [build folder] [picture]     defaults: build/ and docs/screenshot.png
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-${MSR_BUILD_DIR:-$top/build}}
picture=${2:-$top/docs/screenshot.png}

# Only this script needs a virtual display, a key presser and a way to save the screen; they are not part
# of the build's dependencies.
"$top/scripts/install-deps.sh" xvfb xdotool imagemagick fonts-dejavu-core

if [ ! -f "$build/CMakeCache.txt" ]; then
  "$top/scripts/install-deps.sh"
  cmake -S "$top" -B "$build" >/dev/null
fi
cmake --build "$build" -j2 --target msrcfg msrsim
build=$(cd "$build" && pwd)

# A private settings folder (COM names, remembered port, window place) and the build folder as the
# program folder, so nothing of the user's own set-up is read or changed.
export XDG_CONFIG_HOME MSRCFG_HOME=$build
XDG_CONFIG_HOME=$(mktemp -d)
display=:$((90 + RANDOM % 100))
pids=()
cleanup() {
  for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
    kill "${pids[i]}" 2>/dev/null || true
    wait "${pids[i]}" 2>/dev/null || true
  done
  rm -rf "$XDG_CONFIG_HOME"
}
trap cleanup EXIT

Xvfb "$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
pids+=($!)
export DISPLAY=$display QT_QPA_PLATFORM=xcb
for _ in $(seq 100); do
  xdotool getdisplaygeometry >/dev/null 2>&1 && break
  sleep 0.05
done

# A KRD36AR reader fresh from the factory.
"$build/msrsim" --register COM4 >/dev/null &
pids+=($!)
for _ in $(seq 100); do
  grep -qi "^COM4 *=" "$XDG_CONFIG_HOME/zk4100_MSR/settings.ini" 2>/dev/null && break
  sleep 0.05
done

"$build/msrcfg" &
pids+=($!)
window=
for _ in $(seq 100); do
  window=$(xdotool search --onlyvisible --name "MSR Configuration" 2>/dev/null | head -1) && [ -n "$window" ] && break
  sleep 0.1
done
[ -n "$window" ] || { echo "msrcfg's window did not appear" >&2; exit 1; }

# The scan at start-up finds the reader and fills the pages; then Read, as a technician would.
sleep 4
# There is no window manager to give the window the keyboard: the script does.
xdotool windowfocus --sync "$window"
xdotool key alt+r
sleep 3
mkdir -p "$(dirname "$picture")"
import -window "$window" "$picture"
echo "Saved $picture"
