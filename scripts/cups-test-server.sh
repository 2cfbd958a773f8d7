#!/usr/bin/env bash
# A private CUPS scheduler for the tests and the example, never the machine's own.
#
#   scripts/cups-test-server.sh start DIR [OWNER_PID]
#   scripts/cups-test-server.sh stop DIR
#   scripts/cups-test-server.sh env DIR      # prints export lines for a shell
#
# start makes DIR (configuration, spool, cache, state, logs, a home and a client
# configuration folder), starts cupsd listening only on DIR/cups.sock, and adds
# the known queues:
#   Laser_Color   a PPD-based colour laser (PCL 6) writing to /dev/null, with a
#                 description and location; the scheduler's default printer
#   Laser_Twin    a second queue of the same make and model (driver resolution)
#   PDF_Writer    a cups-pdf queue
#   Annex_Remote  a queue forwarding to another server (a remote queue: it sorts
#                 first by name but comes after the local ones)
# DIR/env then holds the variables that point libcups at the scheduler: CUPS_SERVER,
# CUPS_SERVERROOT (client configuration and, for root, the options file) and HOME
# (the user's options file), so the user's default printer is private too.
# With OWNER_PID a watcher stops the scheduler when that process ends, however it
# ends. stop stops the scheduler and the watcher; DIR is left for the caller.
set -euo pipefail

usage() {
    echo "usage: $0 start DIR [OWNER_PID] | stop DIR | env DIR" >&2
    exit 2
}

[ $# -ge 2 ] || usage
command=$1
dir=$2
owner=${3:-}

self=$(cd "$(dirname "$0")" && pwd)/$(basename "$0")
cupsd=/usr/sbin/cupsd
ppd_dir=/usr/share/ppd
laser_ppd=$ppd_dir/cupsfilters/pxlcolor.ppd
pdf_ppd=$ppd_dir/cups-pdf/CUPS-PDF_opt.ppd

write_env() {
    cat >"$dir/env" <<EOF
CUPS_SERVER=$dir/cups.sock
CUPS_SERVERROOT=$dir/client
HOME=$dir/home
EOF
}

# Stops the process whose id is in a file, waiting for it to go; with "group",
# its whole process group (the watcher and the tail it waits in).
stop_pid_file() {
    local file=$1 target pid
    [ -f "$file" ] || return 0
    pid=$(cat "$file")
    rm -f "$file"
    [ -n "$pid" ] || return 0
    target=$pid
    [ "${2:-}" = group ] && target=-$pid
    kill -TERM -- "$target" 2>/dev/null || return 0
    for _ in $(seq 1 50); do
        kill -0 -- "$target" 2>/dev/null || return 0
        sleep 0.1
    done
    kill -KILL -- "$target" 2>/dev/null || true
}

start() {
    for f in "$cupsd" "$laser_ppd" "$pdf_ppd"; do
        if [ ! -e "$f" ]; then
            echo "cups-test-server: $f is missing (run scripts/install-deps.sh)" >&2
            exit 1
        fi
    done
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    mkdir -p "$dir/conf" "$dir/spool/tmp" "$dir/cache" "$dir/state" "$dir/log" "$dir/home" "$dir/client"
    local user group
    if [ "$(id -u)" -eq 0 ]; then
        # cupsd runs its helpers as this user; it refuses root.
        user=lp
        group=lp
    else
        user=$(id -un)
        group=$(id -gn)
    fi
    cat >"$dir/conf/cups-files.conf" <<EOF
ServerRoot $dir/conf
CacheDir $dir/cache
StateDir $dir/state
RequestRoot $dir/spool
TempDir $dir/spool/tmp
ErrorLog $dir/log/error_log
AccessLog $dir/log/access_log
PageLog $dir/log/page_log
Printcap $dir/state/printcap
User $user
Group $group
SystemGroup $(id -gn)
FileDevice Yes
EOF
    cat >"$dir/conf/cupsd.conf" <<EOF
Listen $dir/cups.sock
LogLevel warn
MaxLogSize 0
Browsing No
BrowseLocalProtocols none
DefaultShared No
WebInterface No
DefaultAuthType None
<Location />
  Order allow,deny
  Allow all
</Location>
<Policy default>
  <Limit All>
    Order deny,allow
  </Limit>
</Policy>
EOF
    write_env
    # Nothing of the scheduler may hold the caller's output open (a test runner
    # waits for it to close), and both run in sessions of their own, so that
    # signals meant for the caller's process group do not reach them.
    setsid "$cupsd" -f -c "$dir/conf/cupsd.conf" -s "$dir/conf/cups-files.conf" \
        </dev/null >>"$dir/log/cupsd.out" 2>&1 &
    echo $! >"$dir/cupsd.pid"
    if [ -n "$owner" ]; then
        # tail --pid returns when the owner ends, also when it crashed.
        setsid bash -c 'tail --pid="$1" -f /dev/null; rm -f "$2/watcher.pid"; "$3" stop "$2"' \
            watcher "$owner" "$dir" "$self" </dev/null >/dev/null 2>&1 &
        echo $! >"$dir/watcher.pid"
    fi
    export CUPS_SERVER="$dir/cups.sock" CUPS_SERVERROOT="$dir/client" HOME="$dir/home"
    unset PRINTER LPDEST
    local up=""
    for _ in $(seq 1 100); do
        if lpstat -r 2>/dev/null | grep -q "is running"; then
            up=yes
            break
        fi
        kill -0 "$(cat "$dir/cupsd.pid")" 2>/dev/null || break
        sleep 0.1
    done
    if [ -z "$up" ]; then
        echo "cups-test-server: the scheduler did not start; its log:" >&2
        cat "$dir/log/cupsd.out" "$dir/log/error_log" >&2 2>/dev/null || true
        stop
        exit 1
    fi
    # lpadmin warns that printer drivers are deprecated; the queues still work.
    {
        lpadmin -p Laser_Color -E -v file:///dev/null -P "$laser_ppd" \
            -D "Colour laser on the second floor" -L "Room 2.14"
        lpadmin -p Laser_Twin -E -v file:///dev/null -P "$laser_ppd" -D "Second laser of the same model"
        lpadmin -p PDF_Writer -E -v cups-pdf:/ -P "$pdf_ppd" -D "PDF files"
        lpadmin -p Annex_Remote -E -v ipp://192.0.2.10/printers/annex -D "Annex printer on another server"
        lpadmin -d Laser_Color
    } 2> >(grep -v "deprecated" >&2)
}

stop() {
    stop_pid_file "$dir/watcher.pid" group
    stop_pid_file "$dir/cupsd.pid"
}

case $command in
start) start ;;
stop) stop ;;
env)
    [ -f "$dir/env" ] || { echo "cups-test-server: no scheduler in $dir" >&2; exit 1; }
    sed 's/^/export /' "$dir/env"
    echo "unset PRINTER LPDEST"
    ;;
*) usage ;;
esac
