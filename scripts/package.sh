#!/usr/bin/env bash
# Builds the Debian package from a clean build folder of its own, ./build-package (or $MSR_PACKAGE_DIR),
# and prints the path of the .deb. Needs dpkg-dev (dpkg-shlibdeps) besides the build's packages.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
out=${MSR_PACKAGE_DIR:-$top/build-package}

# The last commit's time stamps the package (changelog, AppStream release): the same commit, the same files.
if [ -z "${SOURCE_DATE_EPOCH:-}" ] && git -C "$top" rev-parse --git-dir >/dev/null 2>&1; then
  SOURCE_DATE_EPOCH=$(git -C "$top" log -1 --format=%ct)
  export SOURCE_DATE_EPOCH
fi

# Debian's hardening flags (stack protector, fortified calls, read-only relocations, bind now), as
# dpkg-buildflags gives them to every Debian package.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
CXXFLAGS="$(cd "$top" && dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS)"
LDFLAGS=$(dpkg-buildflags --get LDFLAGS)
export CXXFLAGS LDFLAGS

rm -rf "$out"
# The prefix is compiled into the programs: the installed msrcfg looks for its data under /usr/share.
# Installing does not build everything first; only what the package holds is built below.
cmake -S "$top" -B "$out" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
  -DMSR_BUILD_TESTS=OFF -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON "$@" >/dev/null
# Progress on standard error: standard output carries only the package's path, for scripts.
cmake --build "$out" -j2 --target msrcfg msrsim msr_skins msr_compressed_docs >&2
(cd "$out" && cpack -G DEB >&2)
ls "$out"/msrcfg_*.deb
