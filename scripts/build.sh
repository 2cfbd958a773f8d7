#!/usr/bin/env bash
# Configures and builds one build tree. Usage: scripts/build.sh [DIR [CMAKE-ARGS...]]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
generator=()
if command -v ninja >/dev/null 2>&1; then
    generator=(-G Ninja)
fi
if [ ! -f "$dir/CMakeCache.txt" ]; then
    cmake -S . -B "$dir" "${generator[@]}" "$@"
else
    cmake -S . -B "$dir" "$@" >/dev/null
fi
cmake --build "$dir" -j "${DRUTILS_JOBS:-2}"
