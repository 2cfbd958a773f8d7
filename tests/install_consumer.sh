#!/usr/bin/env bash
# Installs the build tree into a temporary prefix and builds and runs an
# application that finds the package with find_package(drutils).
set -euo pipefail
build=$1
src=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/app" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/app" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:${LD_LIBRARY_PATH:-}" "$work/app/app"
test -f "$work/prefix/include/drutils/drutils.h"
test -f "$work/prefix/include/drutils/od/OdString.h"
