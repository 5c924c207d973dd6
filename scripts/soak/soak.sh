#!/usr/bin/env bash
# Soak run of the real program (release build, preloaded hidapi double, offscreen) with telemetry switching
# between DCS, IL-2 Sturmovik, Condor 2 and War Thunder about every minute, devices unplugged and plugged in
# again every few seconds, and profiles activated and saved through the program's own Save button. See soak.py
# for what is checked.
# Exit status 0 when every check passes. Run it on an otherwise idle machine.
#
#   scripts/soak/soak.sh [minutes, default 30] [--build DIR] [--no-build] [--report FILE]
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
minutes=30
build="$root/build-release"
do_build=1
report=""
while [ $# -gt 0 ]; do
    case "$1" in
        --build) build="$2"; shift 2 ;;
        --no-build) do_build=0; shift ;;
        --report) report="$2"; shift 2 ;;
        [0-9]*) minutes="$1"; shift ;;
        *) echo "unknown argument: $1" >&2; exit 2 ;;
    esac
done
case "$build" in /*) ;; *) build="$root/$build" ;; esac

if [ "$do_build" = 1 ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$build" --parallel 2 --target quillar quillar_hid_preload quillar_soak_driver
fi

echo "load average at start: $(cut -d' ' -f1-3 /proc/loadavg)"
exec python3 "$root/scripts/soak/soak.py" --build "$build" --minutes "$minutes" ${report:+--report "$report"}
