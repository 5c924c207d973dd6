#!/usr/bin/env bash
# Builds a release tree and takes every performance figure of the program, then writes them with the
# machine's description into docs/performance.md (between its "measured" markers; the rest of the document
# is kept). Measure on an otherwise idle machine: other builds skew every figure.
#
#   scripts/perf/measure_all.sh [--build DIR] [--seconds N] [--no-build]
#
#   --build     release build folder (default: build-release)
#   --seconds   measured window of the end-to-end run (default: 60)
#   --no-build  use the build folder as it is
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
build="$root/build-release"
seconds=60
do_build=1
while [ $# -gt 0 ]; do
    case "$1" in
        --build) build="$2"; shift 2 ;;
        --seconds) seconds="$2"; shift 2 ;;
        --no-build) do_build=0; shift ;;
        *) echo "unknown argument: $1" >&2; exit 2 ;;
    esac
done
case "$build" in /*) ;; *) build="$root/$build" ;; esac

results="$(mktemp -d)"
trap 'rm -rf "$results"' EXIT

machine() {
    python3 - "$1" <<'EOF'
import json, os, platform, sys
def first(path, key):
    with open(path) as f:
        for line in f:
            if line.startswith(key):
                return line.split(":", 1)[1].strip()
    return ""
with open("/proc/loadavg") as f:
    load = " ".join(f.read().split()[:3])
json.dump({"cpu": first("/proc/cpuinfo", "model name"), "cores": os.cpu_count(),
           "memory": first("/proc/meminfo", "MemTotal"), "kernel": platform.release(),
           "os": platform.freedesktop_os_release().get("PRETTY_NAME", "") if hasattr(platform, "freedesktop_os_release") else "",
           "load": load}, open(sys.argv[1], "w"))
EOF
}

machine "$results/machine_start.json"

if [ "$do_build" = 1 ]; then
    echo "== building $build (Release, benchmarks on)"
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQUILLAR_BENCHMARKS=ON >/dev/null
    cmake --build "$build" --parallel 2 --target quillar quillar_hid_preload bench_forces bench_cycle
fi

machine "$results/machine.json"
echo "== load average before measuring: $(cut -d' ' -f1-3 /proc/loadavg)"

echo "== bench_forces (10 repetitions)"
"$build/bench/bench_forces" --benchmark_filter='BM_calculateAllAxes' --benchmark_repetitions=10 \
    --benchmark_report_aggregates_only=true --benchmark_format=json >"$results/bench_forces.json"

echo "== bench_cycle (per device cycle, 3 runs)"
for run in 1 2 3; do
    "$build/bench/bench_cycle" 20000 >"$results/bench_cycle_$run.txt"
done

echo "== end-to-end run: ${seconds} s window"
python3 "$root/scripts/perf/measure_program.py" --build "$build" --seconds "$seconds" \
    --out "$results/program.json"

python3 "$root/scripts/perf/write_report.py" --results "$results" --doc "$root/docs/performance.md" \
    --command "scripts/perf/measure_all.sh $*"
echo "== figures written to docs/performance.md"
