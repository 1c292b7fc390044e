#!/usr/bin/env bash
# Builds the Debian package, checks it with lintian, installs it and uses the installed programs as a
# technician would: the console batch mode against the installed msrsim and the window under a virtual
# display. Then checks that nothing was written under /usr and removes the package again.
# As root, or as a user with sudo. It installs and removes msrcfg on this machine: run it where that is
# wanted (CI); a msrcfg installed before is replaced and then removed.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
# Packaging and checking tools, for this script only: the build itself needs none of them. udev is the one
# dependency of the package the build does not bring; installing it here refreshes apt's lists if need be.
"$top/scripts/install-deps.sh" dpkg-dev lintian desktop-file-utils appstream xvfb xdotool udev

sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
work=$(mktemp -d)
pids=()
installed=0
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  if ((installed)); then "${sudo_cmd[@]}" apt-get purge -y -qq msrcfg >/dev/null 2>&1 || true; fi
  rm -rf "$work"
}
trap cleanup EXIT
fail() {
  echo "package-test: $*" >&2
  exit 1
}

echo "== package"
deb=$(bash "$top/scripts/package.sh" | tail -1)
echo "$deb"
dpkg-deb --info "$deb" | grep -E '^ (Version|Depends):'

echo "== lintian"
# Warnings and notes are shown; an error fails the run.
lintian_code=0
lintian --fail-on error "$deb" >"$work/lintian.out" 2>&1 || lintian_code=$?
grep -v 'running with root privileges' "$work/lintian.out" || echo "no findings"
((lintian_code == 0)) || fail "lintian reports errors"
desktop-file-validate "$top/data/msrcfg.desktop"
appstreamcli validate --no-net --explain "$(dirname "$deb")/data/io.github.msrcfg.metainfo.xml" >/dev/null ||
  fail "the AppStream data does not validate"

echo "== install"
installed=1
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --reinstall "$deb" >/dev/null
[ -x /usr/bin/msrcfg ] && [ -x /usr/bin/msrsim ] || fail "the programs are not in /usr/bin"
# Everything below runs as the installed programs do for a user; none of it may touch /usr.
touch "$work/stamp"

# A user of our own: private settings and runtime folders, so the run changes nothing of the caller's.
export HOME=$work/home XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
cd "$work"

echo "== console batch mode against the installed emulator"
mkfifo sim.out
# A wiped reader, so that the default file is really written and checked.
/usr/bin/msrsim --register COM9 --fill 00 >sim.out 2>sim.err &
pids+=($!)
exec 3<sim.out
# msrsim prints its port line once the COM9 entry is in the settings file.
read -r -t 30 -u 3 port_line || fail "msrsim printed no port line: $(cat sim.err)"
echo "msrsim: $port_line"
code=0
/usr/bin/msrcfg /WriteDefault /Port:COM9 --quiet || code=$?
echo "msrcfg /WriteDefault exit code $code"
[ "$code" -eq 0 ] || fail "the installed msrcfg did not write the default file"

echo "== production station against the installed emulator"
# The station starts its port workers from its own executable: the installed one must find itself.
mkfifo station.out
/usr/bin/msrcfg --station --write-default --ports COM8 --trace trace.csv >station.out 2>station.err &
station_pid=$!
pids+=("$station_pid")
exec 5<station.out
/usr/bin/msrsim --register COM8 --fill 00 >/dev/null 2>sim8.err &
pids+=($!)
result=""
while read -r -t 60 -u 5 line; do
  echo "station: $line"
  case $line in *" COM8   SN "*)
    result=$line
    break
    ;;
  esac
done
[ -n "$result" ] || fail "the installed station wrote no reader: $(cat station.err)"
case $result in *" 0 written and checked"*) ;; *) fail "the installed station's reader did not end with 0" ;; esac
code=0
kill -TERM "$station_pid"
wait "$station_pid" || code=$?
[ "$code" -eq 0 ] || fail "the station ended with exit code $code: $(cat station.err)"
[ "$(wc -l <trace.csv)" -eq 2 ] || fail "the trace file does not hold its header and one row"
echo "station exit code 0, trace: $(tail -1 trace.csv)"

echo "== window under Xvfb"
mkfifo xvfb.fd
Xvfb -displayfd 4 -screen 0 1024x768x24 -nolisten tcp 4>xvfb.fd 2>xvfb.err &
pids+=($!)
# Xvfb writes its display number once it accepts clients.
read -r -t 30 display <xvfb.fd || fail "Xvfb did not start: $(cat xvfb.err)"
export DISPLAY=:$display QT_QPA_PLATFORM=xcb
/usr/bin/msrcfg 2>window.err &
window_pid=$!
pids+=("$window_pid")
title=$(sed -n 's/^Title *= *//p' /usr/share/msrcfg/Trakset.ini | tr -d '\r')
timeout 60 xdotool search --sync --onlyvisible --name "$title" >/dev/null ||
  fail "the window did not open: $(cat window.err)"
kill -0 "$window_pid" 2>/dev/null || fail "the window closed by itself: $(cat window.err)"
echo "window \"$title\" is open"
kill "$window_pid"
wait "$window_pid" 2>/dev/null || true
[ -s window.err ] && sed 's/^/msrcfg: /' window.err

echo "== nothing written under /usr"
# Python's byte-code caches are apt's, not ours.
changed=$(find /usr -newer stamp -not -path '*/__pycache__*' -print)
[ -z "$changed" ] || fail "written under /usr after the install: $changed"
[ -f "$XDG_CONFIG_HOME/zk4100_MSR/settings.ini" ] || fail "no per-user settings file was written"
echo "none; per-user files: $(cd "$XDG_CONFIG_HOME" && find . -type f | sort | tr '\n' ' ')"

echo "== remove"
kill "${pids[@]}" 2>/dev/null || true
wait 2>/dev/null || true
pids=()
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get purge -y -qq msrcfg >/dev/null
installed=0
[ ! -e /usr/bin/msrcfg ] && [ ! -e /usr/share/msrcfg ] || fail "files are left after removal"
echo "package-test: OK"
