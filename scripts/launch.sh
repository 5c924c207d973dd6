#!/bin/sh
# Starts Vortane Quillar inside its data folder. The program keeps its "effect_profiles" folder and looks for
# its window icon in the working directory, so the working directory must be a folder of the user's, never
# the build tree or a system folder.
#
#   launch.sh [<path-to-quillar> [arguments...]]
#   launch.sh [<path-to-quillar>] --help | --version
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

# The launcher's own options answer before the data folder is made, so asking for them changes nothing.
name=$(basename "$0")
case "${1:-}" in
-h | --help | -help)
    cat <<EOF
Usage: $name [<path-to-quillar>] [arguments...]
Starts Vortane Quillar in its data folder, \${XDG_DATA_HOME:-~/.local/share}/vortane-quillar, where
the effect profiles are kept, making the folder first if it is missing.

Options:
  -h, --help     Displays this help and exits.
  -v, --version  Displays the version and exits.

A first argument holding a "/" is the program to start (default: the quillar beside this launcher).
Every other argument is passed on to the program; "quillar --help" lists its own options.
EOF
    exit 0
    ;;
-v | --version | -version)
    # The program knows the version; the launcher ships with it and shares it.
    version=$("$program" --version)
    echo "$name ${version##* }"
    exit 0
    ;;
esac

# A relative --record FILE names a file where the user started the launcher, not in the data folder the
# program runs in: it is made absolute here, in every spelling the program takes.
caller=$(pwd)
absolute() {
    case "$1" in
    /*) printf '%s' "$1" ;;
    *) printf '%s/%s' "$caller" "$1" ;;
    esac
}
count=$#
record_next=0
for argument do
    if [ "$record_next" = 1 ]; then
        argument=$(absolute "$argument")
        record_next=0
    else
        case "$argument" in
        --record | -record) record_next=1 ;;
        --record=?*) argument="--record=$(absolute "${argument#--record=}")" ;;
        -record=?*) argument="-record=$(absolute "${argument#-record=}")" ;;
        esac
    fi
    set -- "$@" "$argument"
done
shift "$count"

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
