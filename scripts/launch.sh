#!/bin/sh
# Starts Vortane Quillar inside its data folder. The program keeps its "effect_profiles" folder and looks for
# its window icon in the working directory, so the working directory must be a folder of the user's, never
# the build tree or a system folder.
#
#   launch.sh [<path-to-quillar> [arguments...]]
#
# A first argument holding a "/" is the program. Without one it starts the "quillar" that sits beside this
# script (the installed layout, where this script is "quillar-launch"). The data folder is $XDG_DATA_HOME/vortane-quillar, by default
# ~/.local/share/vortane-quillar; the icon is copied there once if it is missing.
set -eu

here=$(cd "$(dirname "$0")" && pwd)

program="$here/quillar"
if [ $# -gt 0 ]; then
    case "$1" in
    */*)
        # A path to the program; made absolute because the working directory changes below.
        if [ ! -d "$(dirname "$1")" ]; then
            echo "launch.sh: no program at $1" >&2
            exit 1
        fi
        program=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
        shift
        ;;
    esac
fi
if [ ! -f "$program" ] || [ ! -x "$program" ]; then
    echo "launch.sh: no program at $program" >&2
    exit 1
fi

data="${XDG_DATA_HOME:-$HOME/.local/share}/vortane-quillar"
mkdir -p "$data"

icon=vortane_logo_icon_inverted.png
if [ ! -f "$data/$icon" ]; then
    # Source tree first (./run.sh), then the installed share folder.
    for candidate in "$here/../packaging/linux/$icon" "$here/../share/vortane-quillar/$icon"; do
        if [ -f "$candidate" ]; then
            cp "$candidate" "$data/$icon"
            break
        fi
    done
fi

cd "$data"
exec "$program" "$@"
