#!/usr/bin/env bash
# Screenshots of the Diagnostics window and of the Forces view's header during the demo flight, on a virtual X
# display. Run it under xvfb-run:
#
#   xvfb-run -a -s "-screen 0 1600x1000x24" scripts/screenshots/diagnostics.sh [BUILD_DIR] [OUT_DIR]
#
# Starts the program in a scratch home with both devices simulated by the preloaded hidapi double, opens the
# Forces view, starts quillar-replay --demo, then opens Diagnostics… and takes `import` pictures of both
# windows. The report shows this machine's /proc and /sys as they are. Needs xdotool and ImageMagick.
set -euo pipefail

root="$(cd "$(dirname "$0")/../.." && pwd)"
build="$(cd "${1:-$root/build}" && pwd)"
out="${2:-$root/docs/images}"
mkdir -p "$out"
out="$(cd "$out" && pwd)"
scratch="$(mktemp -d)"
cleanup() {
    [ -n "${replay_pid:-}" ] && kill "$replay_pid" 2>/dev/null || true
    [ -n "${program_pid:-}" ] && kill "$program_pid" 2>/dev/null || true
    rm -rf "$scratch"
}
trap cleanup EXIT

mkdir -p "$scratch/work" "$scratch/hid" "$scratch/home"
# Nothing of the real home is read or written: the log, settings and data folders are the scratch home's.
export HOME="$scratch/home" XDG_STATE_HOME="$scratch/home/.local/state" XDG_CONFIG_HOME="$scratch/home/.config" \
    XDG_DATA_HOME="$scratch/home/.local/share"
printf 'plugged=1\nversion=0c 01 00\nposition=0.2 -0.1\noffset=0 0\n' >"$scratch/hid/joystick.state"
printf 'plugged=1\nversion=03 00 00\nposition=0.15 0\noffset=0 0\n' >"$scratch/hid/rudder.state"
cp "$root/packaging/linux/vortane_logo_icon_inverted.png" "$scratch/work/"

(cd "$scratch/work" && LD_PRELOAD="$build/tests/support/libquillar_hid_preload.so" \
    QUILLAR_HID_DOUBLE_DIR="$scratch/hid" exec "$build/quillar") >"$scratch/program.log" 2>&1 &
program_pid=$!

find_window() { # find_window <name pattern>
    local id=""
    for _ in $(seq 1 100); do
        id="$(xdotool search --name "$1" 2>/dev/null | head -n1 || true)"
        [ -n "$id" ] && break
        sleep 0.1
    done
    [ -n "$id" ] || { echo "no window named $1" >&2; cat "$scratch/program.log" >&2; exit 1; }
    echo "$id"
}
window="$(find_window 'Vortane Quillar')"
sleep 1
eval "$(xdotool getwindowgeometry --shell "$window")"
# The Forces button at the right end of the tab bar, 464, 21 from the window's top left corner in its start size.
xdotool mousemove $((X + 464)) $((Y + 21)) click 1
"$build/quillar-replay" --demo --speed 2 >"$scratch/replay.log" 2>&1 &
replay_pid=$!
sleep 8
import -window "$(find_window '^Forces$')" "$out/forces-view-header.png"
echo "$out/forces-view-header.png"
# Diagnostics… is the last button at the right end of the status bar.
xdotool mousemove $((X + WIDTH - 40)) $((Y + HEIGHT - 10)) click 1
dialog="$(find_window '^Diagnostics$')"
sleep 5 # the checks give each silent simulator its second
import -window "$dialog" "$out/diagnostics-window.png"
echo "$out/diagnostics-window.png"
