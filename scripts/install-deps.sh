#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, or the packages named as arguments (the
# scripts that need more than the build does). Safe to run again: it only calls apt-get when a package is
# missing.
#   scripts/install-deps.sh [PACKAGE...]
set -euo pipefail

packages=(
  g++ cmake make pkg-config   # the C++20 toolchain
  libgtest-dev libgmock-dev   # GoogleTest and GoogleMock, run through CTest
  binutils                    # objcopy: the Intel HEX tests read the exported file back with it
  qt6-base-dev                # Qt 6 Widgets (the window) and Qt Test; its offscreen platform runs the GUI tests
  libudev-dev                 # udev's device events: the window follows serial adapters plugged in and pulled out
  libqt6svg6                  # Qt's SVG icon engine, a plug-in: it draws the window's icon (icons/msrcfg.svg)
)
(($#)) && packages=("$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
