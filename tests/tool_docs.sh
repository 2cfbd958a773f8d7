#!/usr/bin/env bash
# The bash completion and the man page generated from the tool's help.
# Usage: tests/tool_docs.sh TOOL MAN-PAGE COMPLETION
set -euo pipefail
export LC_ALL=C
tool=$1 man_page=$2 completion=$3
status=0
fail() { echo "tool_docs: $*" >&2; status=1; }

# shellcheck disable=SC1090
source "$completion"
# complete WORD... : what the completion offers for the last word, sorted.
complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _drutils
    printf '%s\n' "${COMPREPLY[@]+"${COMPREPLY[@]}"}" | sort | paste -sd ' ' -
}

groups=$("$tool" --list-groups | cut -f1)
[ -n "$groups" ] || fail "--list-groups lists no group"

# Each row: the words typed (the last one being completed) | what is offered.
# The group rows cover each way a group's help lists its commands.
rows=(
    "drutils st|style"
    "drutils p|papers path pc3 pia pmp printers profile"
    "drutils cipher |decode encode"                # one usage line per command
    "drutils lock |clear hold status"              # "commands:" list, then "Exit status:"
    "drutils pc3 |apply build custom diff new papers set show" # a "Keys of set:" section follows the list
    "drutils style |build convert diff new render set show" # blank line and "commands:" before the list
    "drutils style co|convert"
    "drutils style show --j|--json"                # options of the group
    "drutils msg list --|--catalogs --help --json --lang"
    "drutils style show |"                         # operands: left to bash's file names
    "drutils printers --|--help --json"            # a group that is a command itself
    "drutils nosuch |"
)
for row in "${rows[@]}"; do
    typed=${row%%|*} want=${row#*|}
    read -r -a words <<<"$typed"
    [[ $typed == *" " ]] && words+=("")
    got=$(complete_words "${words[@]}")
    [ "$got" = "$want" ] || fail "completing '$typed': got '$got', want '$want'"
done

# Every group the tool has is offered, and offers commands: a group whose help
# the generator cannot read would offer none. A group that is a command itself
# ("usage: drutils printers [--json]") has none to offer, and says so by its usage
# line going straight to options or operands.
want=$(printf '%s\n' --help --version $groups | sort | paste -sd ' ' -)
got=$(complete_words drutils "")
[ "$got" = "$want" ] || fail "groups offered: '$got', the tool has '$want'"
for g in $groups; do
    [ -n "$(complete_words drutils "$g" "")" ] && continue
    "$tool" "$g" --help | grep -qE "^usage: drutils $g( \[| [A-Z]|$)" ||
        fail "group '$g' offers no commands"
done

# The man page passes groff's checks without a warning.
warnings=$(groff -ww -z -man "$man_page" 2>&1 || true)
[ -z "$warnings" ] || fail "groff warns about the man page: $warnings"

exit $status
