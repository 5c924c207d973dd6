#!/usr/bin/env bash
# Installs what is missing, builds, and starts Vortane Quillar.
# Headless (QT_QPA_PLATFORM=offscreen) when no display is present.
set -euo pipefail
source "$(dirname "$0")/scripts/setup.sh"
cd "$QUILLAR_ROOT"

quillar_install_missing
quillar_build "$QUILLAR_ROOT/build"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    echo "No display found: starting headless."
    export QT_QPA_PLATFORM=offscreen
fi

# The launcher runs the program in the user's data folder, where the icon and "effect_profiles" live,
# so rebuilding or cleaning the checkout never touches a profile.
exec "$QUILLAR_ROOT/scripts/launch.sh" "$QUILLAR_ROOT/build/quillar" "$@"
