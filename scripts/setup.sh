#!/usr/bin/env bash
# Shared set-up for ./run.sh and ./test.sh: installs what is missing, then configures and builds.
# Sourced, not run. Set QUILLAR_SANITIZE=1 to build into build-asan/ with ASan and UBSan.
set -euo pipefail

QUILLAR_ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

quillar_packages=(cmake ninja-build g++ pkg-config qt6-base-dev libhidapi-dev libgl-dev lua5.4 python3 lua5.1 libarchive-dev)

quillar_install_missing() {
    local missing=()
    for pkg in "${quillar_packages[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing missing packages: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
}

quillar_build() {
    local build_dir="$1"
    shift
    if [ ! -f "$build_dir/build.ninja" ]; then
        cmake -S "$QUILLAR_ROOT" -B "$build_dir" -G Ninja "$@"
    fi
    cmake --build "$build_dir" --parallel "$(nproc)"
}
