#!/usr/bin/env bash
# CI only, never from ./test.sh: it installs system packages and installs our own package into this machine's
# /usr (through sudo when not root), then removes it again.
#
# Builds the Debian package and checks it with the tools Debian uses (dpkg-deb, lintian, desktop-file-validate,
# appstreamcli) and checks that the links of its documentation hold, then does what a user does: installs the
# previous commit's build (this package repacked under that version, with changed files), upgrades it to this
# build with a plain apt-get install and checks that every file was replaced, asks the programs their version,
# starts the installed program through its launcher offscreen over the preloaded hidapi double until it writes
# a report to the stick, reinstalls it, removes and purges it, and checks that nothing of it is left and that
# the user's profiles were never touched.
#
#   packaging/ci/check-package.sh
#
# QUILLAR_HID_PRELOAD names the preloadable hidapi double; by default build/tests/support/
# libquillar_hid_preload.so, which ./test.sh builds (it is built there when missing).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source "$here/../../scripts/setup.sh"
cd "$QUILLAR_ROOT"

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
apt_get() { $sudo env DEBIAN_FRONTEND=noninteractive apt-get -y -q -o DPkg::Lock::Timeout=600 "$@"; }

step() { printf '\n== %s\n' "$*"; }
fail() {
    echo "check-package: FAIL: $*" >&2
    exit 1
}

work=$(mktemp -d)
program_pid=""
installed_by_us=0
cleanup() {
    # Leave the machine as it was, whatever failed.
    if [ -n "$program_pid" ] && kill -0 "$program_pid" 2>/dev/null; then
        kill "$program_pid" 2>/dev/null || true
        wait "$program_pid" 2>/dev/null || true
    fi
    if [ "$installed_by_us" = 1 ] && dpkg-query -W -f='${db:Status-Abbrev}' vortane-quillar 2>/dev/null | grep -q '^.[^n]'; then
        apt_get purge vortane-quillar >/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT

quillar_install_missing lintian desktop-file-utils appstream dpkg-dev file

# The expected files, without comments: "<mode> <path>" per line.
expected="$work/expected.txt"
grep -v -e '^#' -e '^[[:space:]]*$' "$here/expected-contents.txt" | sort -k2 >"$expected"

step "Building the package"
deb=$(scripts/package.sh | tail -n 1)
[ -f "$deb" ] || fail "scripts/package.sh made no package"
build_dir=$(dirname "$deb")
# The program's version (its title, --version) and the package's, which grows with every newer commit.
program_version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build_dir/CMakeCache.txt")
version=$(sed -n 's/^QUILLAR_PACKAGE_VERSION:INTERNAL=//p' "$build_dir/CMakeCache.txt")
arch=$(dpkg --print-architecture)
[ -n "$program_version" ] || fail "no project version in $build_dir/CMakeCache.txt"
[ -n "$version" ] || fail "no package version in $build_dir/CMakeCache.txt"
case "$version" in
"$program_version+git"*) ;;
*) fail "package version $version does not start with $program_version+git" ;;
esac
# Of the commit the package was built from, when the checkout is a git one: the same stamp for HEAD.
if git -C "$QUILLAR_ROOT" rev-parse --git-dir >/dev/null 2>&1; then
    stamp() { TZ=UTC git -C "$QUILLAR_ROOT" log -1 --format=%cd.%h --date=format-local:%Y%m%d%H%M%S "$1"; }
    [ "$version" = "$program_version+git$(stamp HEAD)" ] ||
        fail "package version $version is not that of HEAD ($program_version+git$(stamp HEAD))"
    if git -C "$QUILLAR_ROOT" rev-parse --verify -q HEAD~1 >/dev/null; then
        older_version="$program_version+git$(stamp HEAD~1)"
    fi
fi
older_version="${older_version:-$program_version+git19700101000000}"
dpkg --compare-versions "$version" gt "$older_version" ||
    fail "package version $version is not newer than the previous commit's $older_version"
[ "$(basename "$deb")" = "vortane-quillar_${version}_${arch}.deb" ] ||
    fail "package file is $(basename "$deb"), expected vortane-quillar_${version}_${arch}.deb"
echo "$deb"

step "dpkg-deb --info"
dpkg-deb --info "$deb"
field() { dpkg-deb --field "$deb" "$1"; }
[ "$(field Package)" = "vortane-quillar" ] || fail "Package is '$(field Package)'"
[ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)', expected $version"
[ "$(field Architecture)" = "$arch" ] || fail "Architecture is '$(field Architecture)', expected $arch"
depends=$(field Depends)
# Computed by dpkg-shlibdeps from the program: Qt 6 and hidapi must be among them.
for dependency in libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 libqt6network6 libhidapi-hidraw0; do
    printf '%s\n' "$depends" | tr ',' '\n' | sed 's/^ *//' | grep -q "^$dependency\( \|$\)" ||
        fail "Depends lacks $dependency: $depends"
done
# Maintainer scripts only for udev: nothing else runs at install or removal.
control=$(dpkg-deb --ctrl-tarfile "$deb" | tar -t | sed 's|^\./||' | grep -v '^$' | sort | tr '\n' ' ')
[ "$control" = "control md5sums postinst postrm " ] || fail "control members are: $control"

step "dpkg-deb --contents"
dpkg-deb --contents "$deb" | tee "$work/contents.txt"
# Everything belongs to root.
awk '$2 != "root/root" { print; bad = 1 } END { exit bad }' "$work/contents.txt" ||
    fail "entries not owned by root/root (above)"
# Files (anything but folders) must match the list exactly, modes included.
awk '$1 !~ /^d/ { path = $6; sub(/^\./, "", path); print $1, path }' "$work/contents.txt" | sort -k2 >"$work/files.txt"
if ! diff -u "$expected" "$work/files.txt"; then
    fail "the package's files differ from packaging/ci/expected-contents.txt (- expected, + in the package)"
fi
# Folders: 0755, and only those that hold a listed file.
awk '{ print $2 }' "$expected" | while read -r path; do
    while path=$(dirname "$path") && [ "$path" != "/" ]; do echo "$path/"; done
done | sort -u >"$work/needed-dirs.txt"
awk '$1 ~ /^d/ { path = $6; sub(/^\./, "", path); if (path != "/") print $1, path }' "$work/contents.txt" |
    sort -k2 >"$work/dirs.txt"
awk '$1 != "drwxr-xr-x" { print; bad = 1 } END { exit bad }' "$work/dirs.txt" || fail "folders not 0755 (above)"
awk '{ print $2 }' "$work/dirs.txt" | diff -u "$work/needed-dirs.txt" - || fail "unexpected or missing folders (above)"

step "lintian"
# No errors; the warnings and notes are printed for the record.
lintian --fail-on error --display-info "$deb" || fail "lintian reports errors"
echo "lintian: no errors"

step "desktop-file-validate and appstreamcli validate"
dpkg-deb -x "$deb" "$work/root"
desktop="$work/root/usr/share/applications/vortane-quillar.desktop"
desktop-file-validate "$desktop" | tee "$work/desktop.txt"
[ ! -s "$work/desktop.txt" ] || fail "desktop-file-validate reports problems"
grep -qx 'Exec=/usr/bin/quillar-launch' "$desktop" || fail "the desktop entry does not start /usr/bin/quillar-launch"
appstreamcli validate --no-net "$work/root/usr/share/metainfo/com.vortane.quillar.metainfo.xml" ||
    fail "appstreamcli validate reports problems"

step "Links in the installed documentation"
# Every relative link of a shipped page leads to a file the package ships.
docs_root="$work/root/usr/share/doc/vortane-quillar"
while IFS= read -r page; do
    { grep -o '](\([^)]*\))' "$page" || true; } | sed 's/^](\(.*\))$/\1/' | while IFS= read -r target; do
        case "$target" in
        [a-zA-Z]*:* | "#"*) continue ;;
        esac
        target_file="${target%%#*}"
        target_file="${target_file%% *}"
        [ -e "$(dirname "$page")/$target_file" ] ||
            fail "${page#"$work/root"} links to $target, which the package does not ship"
    done
done < <(find "$docs_root" -name '*.md')
echo "every link leads to a shipped file"

step "Installing with apt-get"
if dpkg-query -W -f='${db:Status-Abbrev}' vortane-quillar 2>/dev/null | grep -q '^.[^n]'; then
    fail "vortane-quillar is already installed on this machine; remove it first"
fi
while read -r _ path; do
    [ ! -e "$path" ] || fail "$path exists before the install (an earlier cmake --install into /usr?)"
done <"$expected"

# A user who already has profiles, from ./run.sh or an earlier install.
home="$work/home"
data="$home/.local/share/vortane-quillar"
mkdir -p "$data/effect_profiles"
cat >"$data/effect_profiles/DCS_F_16C_50_mine.json" <<'EOF'
{"metadata": {"flight_data_source": 2, "flight_module": "F-16C_50", "comment": "mine"}, "effects": {}}
EOF
printf 'not a profile at all\n' >"$data/effect_profiles/notes.txt"
touch -d '2020-01-02 03:04:05' "$data/effect_profiles"/* "$data/effect_profiles"
snapshot() { (cd "$data/effect_profiles" && find . -printf '%p %y %s %m %T@\n' | sort && find . -type f -exec sha256sum {} + | sort); }
snapshot >"$work/profiles-before.txt"
profiles_untouched() { snapshot | diff -u "$work/profiles-before.txt" - || fail "the user's profiles changed $1"; }

# A path ("./vortane-quillar_….deb" as a user types it) makes apt-get install that file, not look up a name.
deb_path="$(cd "$(dirname "$deb")" && pwd)/$(basename "$deb")"

# The previous commit's build, as a user has it installed: this package under the previous commit's
# version, with files that differ (a line added to each text file), so that the upgrade must replace them.
older="$work/older"
dpkg-deb -R "$deb" "$older"
sed -i "s/^Version: .*/Version: $older_version/" "$older/DEBIAN/control"
for changed in usr/bin/quillar-launch usr/share/doc/vortane-quillar/README.md \
    usr/share/applications/vortane-quillar.desktop usr/lib/udev/rules.d/70-vortane-quillar.rules; do
    echo "# from the older build" >>"$older/$changed"
done
(cd "$older" && find . -path ./DEBIAN -prune -o -type f -printf '%P\0' | xargs -0 md5sum >DEBIAN/md5sums)
older_deb="$work/vortane-quillar_${older_version}_${arch}.deb"
dpkg-deb --root-owner-group -b "$older" "$older_deb" >/dev/null

installed_by_us=1
apt_get install "$older_deb"
[ "$(dpkg-query -W -f='${Version}' vortane-quillar)" = "$older_version" ] || fail "the older build is not installed"
tail -n 1 /usr/share/doc/vortane-quillar/README.md | grep -qx '# from the older build' ||
    fail "the older build's README is not in place"

step "Upgrading to this build with a plain apt-get install (no --reinstall)"
apt_get install "$deb_path"
dpkg-query -W -f='${db:Status-Abbrev}\n' vortane-quillar | grep -q '^ii' || fail "vortane-quillar is not installed"
[ "$(dpkg-query -W -f='${Version}' vortane-quillar)" = "$version" ] ||
    fail "after the upgrade dpkg has version $(dpkg-query -W -f='${Version}' vortane-quillar), expected $version"
# Every installed file is this build's: dpkg checks them against the new package's checksums, and the
# changed ones are compared with the package's own bytes.
dpkg --verify vortane-quillar || fail "installed files differ from this build's (dpkg --verify above)"
for changed in usr/bin/quillar-launch usr/share/doc/vortane-quillar/README.md \
    usr/share/applications/vortane-quillar.desktop usr/lib/udev/rules.d/70-vortane-quillar.rules; do
    cmp -s "/$changed" "$work/root/$changed" || fail "/$changed was not replaced by the upgrade"
done
echo "the upgrade from $older_version replaced every file"
profiles_untouched "on install"
while read -r mode path; do
    [ "$(stat -c '%A' "$path")" = "$mode" ] || fail "$path is $(stat -c '%A' "$path"), expected $mode"
done <"$expected"

step "quillar --version"
[ "$(command -v quillar)" = "/usr/bin/quillar" ] || fail "quillar on PATH is '$(command -v quillar)'"
out=$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM quillar --version)
echo "$out"
[ "$out" = "quillar $program_version" ] || fail "quillar --version said '$out'"
out=$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM quillar-launch --version)
echo "$out"
[ "$out" = "quillar-launch $program_version" ] || fail "quillar-launch --version said '$out'"
for program in quillar-setup quillar-replay; do
    out=$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$program" --version)
    echo "$out"
    [ "$out" = "$program $program_version" ] || fail "$program --version said '$out'"
done
for page in quillar quillar-launch quillar-setup quillar-replay; do
    [ "$(man -w "$page")" = "/usr/share/man/man1/$page.1.gz" ] || fail "man cannot find $page"
done

step "Starting the installed program over the hidapi double"
preload="${QUILLAR_HID_PRELOAD:-$QUILLAR_ROOT/build/tests/support/libquillar_hid_preload.so}"
if [ ! -f "$preload" ]; then
    [ -f "$QUILLAR_ROOT/build/build.ninja" ] || cmake -S "$QUILLAR_ROOT" -B "$QUILLAR_ROOT/build" -G Ninja
    cmake --build "$QUILLAR_ROOT/build" --target quillar_hid_preload
fi
[ -f "$preload" ] || fail "no hidapi double at $preload"
devices="$work/devices"
mkdir -p "$devices"
printf 'plugged=1\nversion=01 02 03\nposition=0.5 -0.25\noffset=0 0\n' >"$devices/joystick.state"
# As the desktop entry starts it: the launcher, in the user's data folder.
env -u DISPLAY -u WAYLAND_DISPLAY -u XDG_DATA_HOME HOME="$home" QT_QPA_PLATFORM=offscreen \
    LD_PRELOAD="$preload" QUILLAR_HID_DOUBLE_DIR="$devices" \
    /usr/bin/quillar-launch >"$work/program.log" 2>&1 &
program_pid=$!
for _ in $(seq 1 600); do
    grep -q ' joystick 0220' "$devices/writes.log" 2>/dev/null && break
    kill -0 "$program_pid" 2>/dev/null || break
    sleep 0.1
done
if ! grep -q ' joystick 0220' "$devices/writes.log" 2>/dev/null; then
    cat "$work/program.log" >&2
    fail "the installed program wrote no direct-control report to the joystick within 60 s"
fi
grep -m 1 ' joystick 0220' "$devices/writes.log" | cut -c 1-120
kill -0 "$program_pid" 2>/dev/null || fail "the program ended by itself"
kill "$program_pid"
wait "$program_pid" 2>/dev/null || true
program_pid=""
cmp -s /usr/share/vortane-quillar/vortane_logo_icon_inverted.png "$data/vortane_logo_icon_inverted.png" ||
    fail "the launcher did not copy the icon into the data folder"
# The program puts the demo flight's profile beside the user's own (never over a file of that name); everything
# the user had stays as it was. From here on nothing in the folder may change.
demo_profile=DCS_Quillar_Demo_Trainer.json
cmp -s "/usr/share/vortane-quillar/effect_profiles/$demo_profile" "$data/effect_profiles/$demo_profile" ||
    fail "the program did not put the demo profile beside the user's profiles"
users_own() { grep -v -e '^\. ' -e "$demo_profile"; }
diff -u <(users_own <"$work/profiles-before.txt") <(snapshot | users_own) ||
    fail "the user's profiles changed while the program ran"
snapshot >"$work/profiles-before.txt"

step "Reinstalling the same build"
apt_get install --reinstall "$deb_path"
profiles_untouched "on reinstall"

nothing_left() {
    while read -r _ path; do
        [ ! -e "$path" ] || fail "$path is left after $1"
    done <"$expected"
    for folder in /usr/share/vortane-quillar /usr/share/doc/vortane-quillar; do
        [ ! -e "$folder" ] || fail "$folder is left after $1"
    done
    profiles_untouched "on $1"
    [ -f "$data/vortane_logo_icon_inverted.png" ] || fail "the $1 touched the user's data folder"
}

step "Removing with apt-get"
apt_get remove vortane-quillar
# dpkg keeps a package with a postrm as "rc" (config-files) until it is purged, so that the script can run
# for the purge; the package has no configuration files, so no file of it is left.
status=$(dpkg-query -W -f='${db:Status-Abbrev}' vortane-quillar 2>/dev/null || true)
[ "$status" = "rc " ] || fail "after removal dpkg has vortane-quillar as '$status', expected 'rc '"
dpkg-query -W -f='${Conffiles}' vortane-quillar | grep -q . && fail "the package has configuration files"
nothing_left "removal"

step "Purging with apt-get"
apt_get purge vortane-quillar
installed_by_us=0
status=$(dpkg-query -W -f='${db:Status-Abbrev}' vortane-quillar 2>/dev/null || true)
case "$status" in
"" | ?n*) ;;
*) fail "after purging dpkg still has vortane-quillar as '$status'" ;;
esac
nothing_left "purge"

printf '\ncheck-package: all checks passed for %s\n' "$(basename "$deb")"
