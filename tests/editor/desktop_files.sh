#!/usr/bin/env bash
# Installs a build tree into a temporary prefix and checks the editor's desktop
# integration there: the launcher (desktop-file-validate), its icon, and the
# file types, compiled by the install into the prefix's MIME database and
# recognised by GLib (as file managers do) from a table's first bytes and from
# its name.
# Usage: tests/editor/desktop_files.sh BUILD-DIR MIME-PROBE DATA-DIR
set -euo pipefail
build=$1 probe=$2 data=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "desktop_files: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
share=$prefix/share
editor=$prefix/bin/drutils-styles
[ -x "$editor" ] || fail "bin/drutils-styles was not installed"
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build/CMakeCache.txt")
LD_LIBRARY_PATH="$prefix/$libdir" "$editor" --version | grep -q '^drutils-styles ' ||
    fail "the installed editor does not run"

desktop=$share/applications/drutils-styles.desktop
[ -f "$desktop" ] || fail "no launcher in share/applications"
desktop-file-validate "$desktop" || fail "the launcher does not validate"
grep -qx 'Exec=drutils-styles %F' "$desktop" || fail "the launcher does not pass the files it is given"
icon=$(sed -n 's/^Icon=//p' "$desktop")
svg=$share/icons/hicolor/scalable/apps/$icon.svg
[ -f "$svg" ] || fail "the launcher's icon $icon is not installed"
python3 -c 'import sys, xml.etree.ElementTree as E; r = E.parse(sys.argv[1]).getroot(); sys.exit(not r.tag.endswith("svg"))' "$svg" ||
    fail "the icon is no SVG"

types=$(sed -n 's/^MimeType=//p' "$desktop" | tr ';' ' ')
[ "$(echo $types)" = "application/x-plot-style-ctb application/x-plot-style-stb" ] ||
    fail "the launcher opens '$types'"
for type in $types; do
    [ -f "$share/mime/$type.xml" ] || fail "$type is not in the prefix's compiled MIME database"
done

# GLib reads the prefix's database first, and nothing of the user's.
export XDG_DATA_DIRS="$share:/usr/share" XDG_DATA_HOME="$work/nothing"
expect() {
    local got
    got=$("$probe" "$1" "$2")
    [ "$got" = "$3" ] || fail "$1 $(basename "$2"): '$got', expected '$3'"
}
# By content, under names that say nothing.
cp "$data/color-dependent-factory.ctb" "$work/first"
cp "$data/named-factory.stb" "$work/second"
expect data "$work/first" application/x-plot-style-ctb
expect data "$work/second" application/x-plot-style-stb
# By name, as a file manager lists a folder.
expect name pens.ctb application/x-plot-style-ctb
expect name PENS.STB application/x-plot-style-stb
# A printer configuration is the same container of another kind.
got=$("$probe" data "$data/printer-hpgl-extra-blocks.pc3")
case "$got" in application/x-plot-style-*) fail "a printer configuration reads as $got" ;; esac
echo "desktop files: ok"
