#!/usr/bin/env bash
# Measures the 10 ms device cycle: runs the real worker thread against the preloaded hidapi double with both
# devices plugged in, then reports the interval between consecutive joystick direct-control writes (median,
# p99, max) and the process's CPU use over the run. A measurement, not a test.
#
#   tools/measure_cycle.sh [--build DIR] [--seconds N] [--program harness|quillar]
#
#   --build     build folder holding the program and tests/support/libquillar_hid_preload.so (default: build)
#   --seconds   measured time after a 2 s warm-up (default: 12)
#   --program   harness: tools' quillar_cycle_harness (worker only, default);
#               quillar: the full program with its window, offscreen
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build"
seconds=12
program=harness
while [ $# -gt 0 ]; do
    case "$1" in
        --build) build="$(cd "$2" && pwd)"; shift 2 ;;
        --seconds) seconds="$2"; shift 2 ;;
        --program) program="$2"; shift 2 ;;
        *) echo "unknown argument: $1" >&2; exit 2 ;;
    esac
done

preload="$build/tests/support/libquillar_hid_preload.so"
case "$program" in
    harness) exe="$build/tools/quillar_cycle_harness" ;;
    quillar) exe="$build/quillar" ;;
    *) echo "unknown program: $program" >&2; exit 2 ;;
esac
for f in "$preload" "$exe"; do
    [ -e "$f" ] || { echo "missing $f: build it first" >&2; exit 1; }
done

dir="$(mktemp -d)"
workdir="$(mktemp -d)" # the program's working directory: keeps profile folders out of the tree
pid=""
cleanup() {
    [ -n "$pid" ] && kill "$pid" 2>/dev/null && wait "$pid" 2>/dev/null || true
    rm -rf "$dir" "$workdir"
}
trap cleanup EXIT

printf 'plugged=1\nversion=01 00 00\nposition=0.25 -0.125\noffset=0 0\n' > "$dir/joystick.state"
printf 'plugged=1\nversion=01 00 00\nposition=0.5 0\noffset=0 0\n' > "$dir/rudder.state"

cd "$workdir"
LD_PRELOAD="$preload" QUILLAR_HID_DOUBLE_DIR="$dir" QT_QPA_PLATFORM=offscreen "$exe" >"$dir/stdout.log" 2>&1 &
pid=$!

sleep 2
kill -0 "$pid" || { echo "the program ended early:" >&2; cat "$dir/stdout.log" >&2; exit 1; }
python3 "$root/tools/measure_cycle.py" --pid "$pid" --log "$dir/writes.log" --seconds "$seconds" --program "$program"
