#!/usr/bin/env bash
# Starts the editor as a file manager does, with a table named on the command
# line (a name that is not UTF-8, which Linux allows), and checks that the
# window shows it and that the recent files remember it.
# Usage (on a display): tests/editor/start_editor.sh EDITOR DATA-DIR
set -euo pipefail
editor=$1 data=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "start_editor: $*" >&2; exit 1; }

"$editor" --version | grep -q '^drutils-styles ' || fail "--version"
"$editor" --help | grep -q '^usage: drutils-styles' || fail "--help"

name=$(printf 'pens \377.ctb')
cp "$data/color-dependent-factory.ctb" "$work/$name"
out=$(XDG_CONFIG_HOME="$work/config" timeout 60 "$editor" --startup-report -- "$work/$name") ||
    fail "the editor failed ($out)"
[ "$out" = shown ] || fail "the editor said '$out' instead of showing the table"
grep -q '^file1=.' "$work/config/drutils-styles/settings.conf" || fail "the recent files do not list the table"
# The table is as it was: opening writes nothing.
cmp -s "$data/color-dependent-factory.ctb" "$work/$name" || fail "the table changed"
echo "start_editor: ok"
