#!/usr/bin/env bash
# Configures and builds one build tree. Usage: scripts/build.sh [DIR [CMAKE-ARGS...]]
# "--target NAME" among the arguments (repeatable) builds only those targets.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
args=()
targets=()
while [ $# -gt 0 ]; do
    if [ "$1" = "--target" ] && [ $# -ge 2 ]; then
        targets+=(--target "$2")
        shift 2
    else
        args+=("$1")
        shift
    fi
done
set -- "${args[@]+"${args[@]}"}"
generator=()
if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
fi
# ccache, where installed, keeps rebuilds of several trees (and clones) cheap;
# paths below the checkout are hashed relative to it so that clones share hits.
launcher=()
if command -v ccache >/dev/null 2>&1; then
    launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$(cd .. && pwd)}
    export CCACHE_NOHASHDIR=${CCACHE_NOHASHDIR:-true}
fi
# The project's own builds treat warnings as errors and require the Python module
# (a plain cmake builds it only when pybind11 is found); later -D arguments still win.
if [ ! -f "$dir/CMakeCache.txt" ]; then
    cmake -S . -B "$dir" "${generator[@]}" "${launcher[@]}" -DDRUTILS_WERROR=ON -DDRUTILS_PYTHON=ON "$@"
else
    cmake -S . -B "$dir" -DDRUTILS_WERROR=ON "$@" >/dev/null
fi
cmake --build "$dir" "${targets[@]+"${targets[@]}"}" -j "${DRUTILS_JOBS:-2}"
