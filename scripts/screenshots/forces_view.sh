#!/usr/bin/env bash
# Screenshots of the Forces view during the demo flight, on a virtual X display. Run it under xvfb-run:
#
#   xvfb-run -a -s "-screen 0 1600x1000x24" scripts/screenshots/forces_view.sh [BUILD_DIR] [OUT_DIR]
#
# Starts the program in a scratch folder with both devices simulated by the preloaded hidapi double (its
# first start there puts the demo profile in place), opens the Forces view with its button, starts
# quillar-replay --demo at twice the pace and takes `import -window root` pictures at chosen moments of the
# flight. Needs xdotool and ImageMagick.
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
# Both folders may be given relative to where the script is started: they are made absolute here, before
# the program is started in a folder of its own.
build="$(cd "${1:-$root/build}" && pwd)"
out="${2:-$root/docs/images}"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
[ -x "$build/quillar" ] || { echo "no quillar in $build" >&2; exit 1; }
scratch="$(mktemp -d)"
cleanup() {
    [ -n "${replay_pid:-}" ] && kill "$replay_pid" 2>/dev/null || true
    [ -n "${program_pid:-}" ] && kill "$program_pid" 2>/dev/null || true
    rm -rf "$scratch"
}
trap cleanup EXIT

mkdir -p "$scratch/work" "$scratch/hid"
printf 'plugged=1\nversion=0c 01 00\nposition=0.2 -0.1\noffset=0 0\n' >"$scratch/hid/joystick.state"
printf 'plugged=1\nversion=03 00 00\nposition=0.15 0\noffset=0 0\n' >"$scratch/hid/rudder.state"
cp "$root/packaging/linux/vortane_logo_icon_inverted.png" "$scratch/work/"

(cd "$scratch/work" && LD_PRELOAD="$build/tests/support/libquillar_hid_preload.so" \
    QUILLAR_HID_DOUBLE_DIR="$scratch/hid" exec "$build/quillar") >"$scratch/program.log" 2>&1 &
program_pid=$!

window=""
for _ in $(seq 1 100); do
    window="$(xdotool search --name 'Vortane Quillar' 2>/dev/null | head -n1 || true)"
    [ -n "$window" ] && break
    sleep 0.1
done
[ -n "$window" ] || { echo "the program's window did not appear" >&2; cat "$scratch/program.log" >&2; exit 1; }
sleep 1

# The Forces button sits at the right end of the tab bar; in the window's start size (909 x 539) that is
# 464, 21 from its top left corner.
eval "$(xdotool getwindowgeometry --shell "$window")"
xdotool mousemove $((X + 464)) $((Y + 21)) click 1
sleep 1

"$build/quillar-replay" --demo --speed 2 >"$scratch/replay.log" 2>&1 &
replay_pid=$!
started=$(date +%s.%N)
shoot() { # shoot <seconds after the replay started> <name>
    local wait
    wait=$(python3 -c "import time; print(max(0.0, $1 - (time.time() - $started)))")
    sleep "$wait"
    import -window root "$out/$2.png"
    echo "$out/$2.png"
}
# Flight seconds are twice these: take-off roll, climb, turns, stall, touch-down and roll-out.
shoot 14 forces-takeoff
shoot 33.5 forces-turns
shoot 40.5 forces-stall
shoot 57 forces-landing
wait "$replay_pid"
replay_pid=""
