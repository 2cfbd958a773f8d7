#!/usr/bin/env bash
# Runs a command on a virtual X display of its own (Xvfb through xvfb-run), with
# a private, empty configuration so that the user's desktop settings and themes
# change nothing the tests see. Usage: tests/editor/under_xvfb.sh COMMAND [ARG...]
set -euo pipefail
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_RUNTIME_DIR=$home/run
mkdir -m 700 -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_RUNTIME_DIR"
# No settings daemon, accessibility bus or session bus behind the toolkit.
export GSETTINGS_BACKEND=memory NO_AT_BRIDGE=1 GDK_BACKEND=x11
unset WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS
# -a picks a free display; starting the search at a number of this process's own
# keeps two runs started at the same moment from picking the same one.
exec xvfb-run -a -n $((100 + $$ % 400)) -s "-screen 0 1280x1024x24 -nolisten tcp" "$@"
