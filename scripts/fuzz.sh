#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a fixed number of inputs, starting
# from its seed folder. Usage: scripts/fuzz.sh BUILD-DIR RUNS
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
runs=$2
status=0
for target in "$build"/fuzz/fuzz_*; do
    [ -x "$target" ] || continue
    name=$(basename "$target")
    seeds=fuzz/seeds/${name#fuzz_}
    work=$(mktemp -d)
    [ -d "$seeds" ] && cp -r "$seeds"/. "$work"/
    echo "-- $name: $runs runs"
    if ! "$target" -runs="$runs" -max_len=65536 -seed=1 "$work" >"$work.log" 2>&1; then
        tail -n 60 "$work.log"
        echo "FAILED: $name"
        status=1
    fi
    rm -rf "$work" "$work.log"
done
exit $status
