#!/usr/bin/env bash
# Runs every libFuzzer target under ASan+UBSan for the given time each, two at a time and niced, starting
# from the hand-written seeds (fuzz/seeds/<target>/) and the regression corpus (fuzz/corpus/<target>/).
# The working corpus grows in <build>/fuzz-corpus/<target>/; findings land in <build>/findings/.
#
#   scripts/perf/fuzz_parallel.sh [seconds per target, default 600] [build folder, default build-perf-fuzz]
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
seconds="${1:-600}"
build="${2:-$root/build-perf-fuzz}"
case "$build" in /*) ;; *) build="$root/$build" ;; esac
targets=(fuzz_dcs fuzz_il2 fuzz_condor fuzz_warthunder fuzz_profile_reader fuzz_xplane fuzz_simconnect)

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DQUILLAR_FUZZ=ON -DQUILLAR_SANITIZE=ON \
    -DQUILLAR_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
nice -n 10 cmake --build "$build" --parallel 2 --target "${targets[@]}"
mkdir -p "$build/findings"

run_one() {
    local name="$1"
    local corpus="$build/fuzz-corpus/$name"
    mkdir -p "$corpus"
    local inputs=("$corpus")
    [ -d "$root/fuzz/seeds/$name" ] && inputs+=("$root/fuzz/seeds/$name")
    [ -d "$root/fuzz/corpus/$name" ] && [ -n "$(ls -A "$root/fuzz/corpus/$name")" ] && inputs+=("$root/fuzz/corpus/$name")
    local dict="$root/fuzz/${name#fuzz_}.dict"
    local extra=()
    [ -f "$dict" ] && extra+=(-dict="$dict")
    # -fork keeps going after a finding, so one crash does not end the target's time.
    nice -n 15 "$build/fuzz/$name" -max_total_time="$seconds" -print_final_stats=1 -fork=1 \
        -ignore_crashes=1 -ignore_timeouts=1 -ignore_ooms=1 -rss_limit_mb=2048 -timeout=10 \
        -artifact_prefix="$build/findings/$name-" "${extra[@]}" "${inputs[@]}" >"$build/$name.log" 2>&1 || true
    echo "== $name done: $(grep -c '^==.*ERROR\|runtime error\|deadly signal' "$build/$name.log" || true) error lines," \
        "$(ls "$build/findings" | grep -c "^$name-" || true) artifacts, corpus $(ls "$corpus" | wc -l)"
}

running=0
for name in "${targets[@]}"; do
    run_one "$name" &
    running=$((running + 1))
    if [ "$running" -ge 2 ]; then
        wait -n
        running=$((running - 1))
    fi
done
wait
