#!/usr/bin/env bash
# Builds the Debian package vortane-quillar_<version>_<arch>.deb in build-package/ (a release build without
# the tests), installing what is missing first, and prints the package's path.
#   scripts/package.sh [extra cmake -D options for the first configure]
# Install it with: sudo apt install ./build-package/vortane-quillar_*.deb
set -euo pipefail
source "$(dirname "$0")/setup.sh"
cd "$QUILLAR_ROOT"

# dpkg-shlibdeps (dpkg-dev) and file compute the package's dependencies from its binaries.
quillar_install_missing dpkg-dev file

build_dir="${QUILLAR_PACKAGE_BUILD_DIR:-$QUILLAR_ROOT/build-package}"
quillar_build "$build_dir" -DCMAKE_BUILD_TYPE=Release -DQUILLAR_BUILD_TESTS=OFF "$@" >&2
rm -f "$build_dir"/vortane-quillar_*.deb
cmake --build "$build_dir" --target package >&2
ls "$build_dir"/vortane-quillar_*.deb
