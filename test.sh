#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test through CTest.
#   ./test.sh                   the whole suite in build/
#   QUILLAR_SANITIZE=1 ./test.sh  the whole suite under ASan + UBSan in build-asan/
# Extra arguments go to ctest (for example: ./test.sh -L unit).
set -euo pipefail
source "$(dirname "$0")/scripts/setup.sh"
cd "$QUILLAR_ROOT"

quillar_install_missing

if [ "${QUILLAR_SANITIZE:-0}" = "1" ]; then
    build_dir="$QUILLAR_ROOT/build-asan"
    quillar_build "$build_dir" -DCMAKE_BUILD_TYPE=Debug -DQUILLAR_SANITIZE=ON
else
    build_dir="$QUILLAR_ROOT/build"
    quillar_build "$build_dir"
fi

cd "$build_dir"
ctest --output-on-failure --parallel "$(nproc)" "$@"
