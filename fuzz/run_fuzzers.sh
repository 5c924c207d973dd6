#!/bin/sh
# Builds every libFuzzer target of the project with ASan+UBSan and runs each for the given number of
# seconds (default 60). Corpora are kept in <build directory>/fuzz-corpus/<target>/.
# Usage: fuzz/run_fuzzers.sh [seconds] [build directory]
set -eu

seconds=${1:-60}
here=$(cd "$(dirname "$0")/.." && pwd)
build=${2:-$here/build-fuzz}

CC=clang CXX=clang++ cmake -S "$here" -B "$build" -G Ninja -DQUILLAR_FUZZ=ON -DQUILLAR_SANITIZE=ON \
    -DQUILLAR_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null

# Every target declared with quillar_add_fuzzer is named fuzz_<something>; ask the generator for them.
names=$(ninja -C "$build" -t targets all | sed -n 's/^\(fuzz_[A-Za-z0-9_]*\): phony$/\1/p' | grep -v '_autogen' | sort -u)
if [ -z "$names" ]; then
    echo "no fuzz targets found" >&2
    exit 1
fi

cmake --build "$build" --parallel 2 --target $names

status=0
for name in $names; do
    corpus=$build/fuzz-corpus/$name
    mkdir -p "$corpus"
    echo "== $name: $seconds s"
    # Hand-written seeds (fuzz/seeds/<target>/) and a token dictionary (fuzz/<name>.dict) where present:
    # parsers outside the project (Qt's JSON) give no coverage feedback, so the seeds do the steering.
    set -- "$corpus"
    [ -d "$here/fuzz/seeds/$name" ] && set -- "$@" "$here/fuzz/seeds/$name"
    dict=$here/fuzz/${name#fuzz_}.dict
    [ -f "$dict" ] && set -- -dict="$dict" "$@"
    if ! "$build/fuzz/$name" -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix="$build/fuzz-corpus/$name-" "$@" 2>"$build/$name.log"; then
        echo "   FINDING: see $build/$name.log and $build/fuzz-corpus/$name-*"
        status=1
    fi
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec|peak_rss_mb)|^Done' "$build/$name.log" || true
done
exit $status
