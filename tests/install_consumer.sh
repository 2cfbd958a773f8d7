#!/usr/bin/env bash
# Installs a build tree into a temporary prefix and checks what an application
# and a user get from it: applications built against the installed package (CMake
# with the plain target, a reader of tables and configurations on the base library
# with wxWidgets' base flags only, the print and the toolkit components; make with
# pkg-config's drutils, drutils-print and drutils-toolkit), one version
# everywhere, the installed tool with its printing module, `man drutils` and the
# bash completion. The applications are built in the build tree's configuration.
# Usage: tests/install_consumer.sh BUILD-DIR
set -euo pipefail
export LC_ALL=C.UTF-8
build=$1
src=$(cd "$(dirname "$0")" && pwd)/consumer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
fail() { echo "install_consumer: $*" >&2; exit 1; }
cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

type=$(cached CMAKE_BUILD_TYPE)
libdir=$(cached CMAKE_INSTALL_LIBDIR)
cmake --install "$build" --prefix "$prefix" >/dev/null
tool=$prefix/bin/drutils

# An installed tool that carries a library search path finds its library by it.
if readelf -d "$tool" | grep -qE 'R(UN)?PATH'; then
    "$tool" --version >/dev/null || fail "the installed tool does not find its library"
fi
export LD_LIBRARY_PATH="$prefix/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
version=$("$tool" --version)
version=${version#drutils }

# run_app KIND APP [ARG...]: the application runs and reports the version it was
# built against.
run_app() {
    local kind=$1 app=$2 out
    shift 2
    out=$("$app" "$@" 2>&1) || fail "$kind application failed: $out"
    [ "$out" = "$kind consumer ok $version" ] || fail "$kind application says '$out', the tool is $version"
}
# What the reader reads.
data=$(cd "$(dirname "$0")" && pwd)/data
reader_files=("$data/named-factory.stb" "$data/printer-hpgl-raw-device-data.pc3")

echo "-- CMake, drutils::drutils"
cmake -S "$src/plain" -B "$work/plain" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE="$type" >/dev/null
cmake --build "$work/plain" >/dev/null
run_app plain "$work/plain/app"
# The plain package must not look for the toolkit at all.
if grep -q '^wxWidgets_CONFIG_EXECUTABLE' "$work/plain/CMakeCache.txt"; then
    fail "find_package(drutils) without components looked for wxWidgets"
fi

echo "-- CMake, drutils::drutils and wxWidgets' base flags: a reader of tables and configurations"
cmake -S "$src/reader" -B "$work/reader" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE="$type" >/dev/null
cmake --build "$work/reader" >/dev/null
run_app reader "$work/reader/app" "${reader_files[@]}"
if grep -q '^wxWidgets_CONFIG_EXECUTABLE' "$work/reader/CMakeCache.txt"; then
    fail "find_package(drutils) without components looked for wxWidgets"
fi

echo "-- CMake, COMPONENTS print"
cmake -S "$src/print" -B "$work/print" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE="$type" >/dev/null
cmake --build "$work/print" >/dev/null
run_app print "$work/print/app"

echo "-- CMake, COMPONENTS toolkit"
cmake -S "$src/toolkit" -B "$work/toolkit" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE="$type" >/dev/null
cmake --build "$work/toolkit" >/dev/null
run_app toolkit "$work/toolkit/app"
if cmake -S "$src/toolkit" -B "$work/unknown" -DCMAKE_PREFIX_PATH="$prefix" \
    -DDRUTILS_COMPONENT=nosuch >/dev/null 2>&1; then
    fail "find_package(drutils REQUIRED COMPONENTS nosuch) succeeded"
fi

echo "-- make and pkg-config, drutils, drutils-print and drutils-toolkit"
export PKG_CONFIG_PATH="$prefix/$libdir/pkgconfig"
for pc in drutils drutils-print drutils-toolkit; do
    pkg-config --validate "$pc" || fail "$pc.pc is not valid"
    [ "$(pkg-config --modversion "$pc")" = "$version" ] || fail "$pc.pc has another version than the tool"
done
mkdir "$work/pc"
make -s -C "$src" OUT="$work/pc" >/dev/null
run_app plain "$work/pc/plain"
run_app reader "$work/pc/reader" "${reader_files[@]}"
run_app print "$work/pc/print"
run_app toolkit "$work/pc/toolkit"

echo "-- the installed tool and its printing module"
test -f "$prefix/$libdir/drutils/drutils-printing.so" || fail "the printing module is not in $libdir/drutils"
# The PDF output needs no printer, but the command runs in the module.
"$tool" pc3 new "Print As PDF" "$work/pdf.pc3" >/dev/null 2>"$work/err" ||
    fail "the installed tool cannot run a printing command: $(cat "$work/err")"
if ldd "$tool" | grep -qE 'libdrutils_print|libwx_gtk3u|libgtk-3|libcups'; then
    fail "the installed tool links the printing library or what it needs"
fi

echo "-- man drutils"
page=$(MANPATH="$prefix/share/man" MANWIDTH=200 man drutils 2>&1) || fail "man drutils: $page"
grep -q "drutils $version" <<<"$page" || fail "the man page does not name version $version"
# Every line of every group's help is on the page.
shown=$(sed 's/^ *//' <<<"$page")
for group in $("$tool" --list-groups | cut -f1); do
    while IFS= read -r line; do
        line=$(sed 's/^ *//' <<<"$line")
        [ -z "$line" ] || grep -qxF -- "$line" <<<"$shown" ||
            fail "man drutils lacks, for group $group: $line"
    done < <("$tool" "$group" --help)
done

echo "-- bash completion"
completion=$prefix/share/bash-completion/completions/drutils
# shellcheck disable=SC1090
source "$completion"
COMP_WORDS=(drutils "")
COMP_CWORD=1
_drutils
offered=$(printf '%s\n' "${COMPREPLY[@]}" | grep -v '^-' | sort | paste -sd ' ' -)
groups=$("$tool" --list-groups | cut -f1 | sort | paste -sd ' ' -)
[ "$offered" = "$groups" ] || fail "the installed completion offers '$offered', the tool has '$groups'"
[ "$(complete -p drutils)" = "complete -o default -F _drutils drutils" ] ||
    fail "the completion is not registered for drutils"

test -f "$prefix/include/drutils/od/OdString.h" || fail "include/drutils/od is not installed"
for schema in plotstyletable pc3 pmp; do
    test -f "$prefix/share/drutils/$schema.schema.json" || fail "share/drutils/$schema.schema.json is not installed"
done
# The Python module, where it was built: below lib/python3.X/dist-packages, found
# through PYTHONPATH in a prefix of its own, with its stubs, finding the installed
# library by its own search path (no LD_LIBRARY_PATH).
if [ -d "$build/python/drutils" ]; then
    pydir=$(echo "$prefix"/lib/python3.*/dist-packages/drutils)
    test -f "$pydir/__init__.pyi" || fail "the Python module is not in lib/python3.X/dist-packages/drutils"
    got=$(env -u LD_LIBRARY_PATH PYTHONPATH="$(dirname "$pydir")" /usr/bin/python3 -c \
        "import drutils; print(drutils.__file__, len(drutils.PlotStyleTable.new()))") ||
        fail "the installed Python module does not import: $got"
    [ "$got" = "$pydir/__init__.py 255" ] || fail "the installed Python module is not the one imported: $got"
fi
echo "install_consumer: ok (drutils $version)"
