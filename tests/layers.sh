#!/usr/bin/env bash
# The layers hold at run time. libdrutils.so needs nothing of GTK, X11 or CUPS,
# directly or through its dependencies, and neither does the tool; a command that
# does not print loads none of them, nor the printing library. A printing command
# loads the printing module; when the module or CUPS's runtime is missing it exits
# 1 with a message naming what is missing, and every other command still works.
# Usage: tests/layers.sh LIBDRUTILS TOOL DATA-DIR
set -euo pipefail
export LC_ALL=C.UTF-8
lib=$1 tool=$2 data=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "layers: $*" >&2; exit 1; }
export DRUTILS_REGISTRY_DB=$work/registry.db
# No scheduler: the commands below that print need none, and none may be asked.
export CUPS_SERVER=$work/no-scheduler

# What belongs to the GUI toolkit or the printing system, by library name.
gui='lib(gtk-3|gdk-3|gdk_pixbuf|X11|xcb|Xext|cairo|pango|cups|wx_gtk3u|drutils_print)[-._]'

echo "-- libdrutils.so and the tool need no GUI toolkit and no printing system"
for file in "$lib" "$tool"; do
    needed=$(ldd "$file") || fail "ldd $file failed"
    if bad=$(grep -E "$gui" <<<"$needed"); then
        fail "$(basename "$file") needs, directly or through its dependencies: $bad"
    fi
done
direct=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
grep -q '^libwx_baseu-' <<<"$direct" || fail "libdrutils.so does not link wxWidgets' base library: $direct"

# loads ARGS...: runs the tool, fails unless it exits 0, prints the files the
# dynamic loader mapped for it.
loads() {
    rm -f "$work"/ld.*
    LD_DEBUG=files LD_DEBUG_OUTPUT=$work/ld "$tool" "$@" >"$work/out" 2>"$work/err" ||
        fail "drutils $* failed: $(cat "$work/err")"
    sed -n 's/.*file=\([^ ]*\) .*/\1/p' "$work"/ld.* | sort -u
}

echo "-- commands that do not print load neither"
cp "$data/printer-hpgl-raw-device-data.pc3" "$work/plotter.pc3"
commands=(
    "name check abc"
    "style show $data/color-dependent-factory.ctb"
    "config set Setup Width 3"
    "config get Setup Width"
    "pc3 show $work/plotter.pc3"
    "pc3 set $work/plotter.pc3 paper=A3"
    "printers --help"
)
for command in "${commands[@]}"; do
    # shellcheck disable=SC2086
    if bad=$(loads $command | grep -E "$gui|drutils-printing"); then
        fail "drutils $command loaded: $bad"
    fi
done

echo "-- a printing command loads the printing module"
loads pc3 new "Print As PDF" "$work/pdf.pc3" | grep -q 'drutils-printing\.so' ||
    fail "pc3 new did not load the printing module"
test -s "$work/pdf.pc3" || fail "pc3 new wrote nothing"

# missing WHAT ENV... : with the environment given, a printing command fails with
# exit 1 and a message holding WHAT; a command that does not print still works.
missing() {
    local what=$1 status=0
    shift
    env "$@" "$tool" pc3 new "Print As PDF" "$work/again.pc3" >/dev/null 2>"$work/err" || status=$?
    [ "$status" = 1 ] || fail "pc3 new without $what exits $status, not 1"
    [ ! -e "$work/again.pc3" ] || fail "pc3 new without $what wrote its output"
    grep -qF -- "$what" "$work/err" || fail "pc3 new without $what says: $(cat "$work/err")"
    [ "$(wc -l <"$work/err")" = 1 ] || fail "pc3 new without $what says more than one line: $(cat "$work/err")"
    env "$@" "$tool" name check abc >/dev/null || fail "name check fails without $what"
    env "$@" "$tool" style show "$data/color-dependent-factory.ctb" >/dev/null ||
        fail "style show fails without $what"
    env "$@" "$tool" printers --help >/dev/null || fail "printers --help fails without $what"
}

echo "-- without the printing module"
missing "$work/none.so" DRUTILS_PRINT_MODULE="$work/none.so"
# A copy of the tool in a folder without the module looks for it in the installed
# place relative to itself.
mkdir "$work/bin"
cp "$tool" "$work/bin/drutils"
tool=$work/bin/drutils missing "$work/bin/../"
grep -qF "drutils-printing.so is missing" "$work/err" || fail "the copy says: $(cat "$work/err")"

echo "-- without CUPS's runtime library"
# A libcups.so.2 that cannot be loaded, found before the system's.
mkdir "$work/nocups"
: >"$work/nocups/libcups.so.2"
missing "libcups.so.2" LD_LIBRARY_PATH="$work/nocups${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"

echo "layers: ok"
