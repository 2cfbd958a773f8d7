#!/usr/bin/env python3
"""Writes the drutils man page and its bash completion from the built tool's help.

Usage: gen_tool_docs.py TOOL MAN-OUT COMPLETION-OUT

The groups come from the tool itself ("drutils --list-groups"), their texts from
"drutils GROUP --help", so a group added to the tool appears in both files without
touching this script. The commands of a group are read from its help, which every
group writes in one of two ways:

    usage: drutils GROUP COMMAND ...      one usage line per command (further
           drutils GROUP COMMAND ...      lines indented under "usage:"), or

    usage: drutils GROUP <command> ...    followed by a list whose entries start
    commands:                             with two spaces and the command; deeper
      COMMAND ...   what it does          indented lines continue an entry, a
                    more about it         blank line or "commands:" is skipped,
      COMMAND ...                         any other line ends the list.

Options are the "--name" words anywhere in a group's help.
"""

import os
import re
import subprocess
import sys

USAGE_LINE = re.compile(r"^(?:usage:)?\s+drutils\s+(\S+)\s+(\S+)")
LIST_ENTRY = re.compile(r"^  ([a-z][a-z0-9-]*)(?:\s|$)")
OPTION = re.compile(r"(?<![\w-])(--[a-z][a-z0-9-]*)")


def run(tool, *args, required=True):
    result = subprocess.run([tool, *args], capture_output=True, text=True)
    if result.returncode != 0:
        if not required:
            return ""
        sys.exit(f"gen_tool_docs: '{' '.join(['drutils', *args])}' failed "
                 f"(exit {result.returncode}): {result.stderr.strip()}")
    return result.stdout


def commands_of(group, help_text):
    found = []
    in_list = False
    for line in help_text.splitlines():
        m = USAGE_LINE.match(line)
        if m and m.group(1) == group:
            word = m.group(2)
            if word == "<command>":
                in_list = True
            elif re.fullmatch(r"[a-z][a-z0-9-]*", word):
                found.append(word)
            continue
        if not in_list:
            continue
        if line.strip() in ("", "commands:") or line.startswith("   "):
            continue
        m = LIST_ENTRY.match(line)
        if m:
            found.append(m.group(1))
        else:
            in_list = False
    return list(dict.fromkeys(found))  # first mention order, no repeats


def options_of(help_text):
    return sorted(set(OPTION.findall(help_text)) | {"--help"})


def roff(text):
    """Escapes plain text for roff: backslashes, minus signs (so that options
    survive copy and search), non-ASCII characters and control lines."""
    out = []
    for ch in text:
        if ch == "\\":
            out.append("\\e")
        elif ch == "-":
            out.append("\\-")
        elif ord(ch) > 126:
            out.append(f"\\[u{ord(ch):04X}]")
        else:
            out.append(ch)
    s = "".join(out)
    return "\\&" + s if s.startswith((".", "'")) else s


def man_page(version, groups, helps):
    lines = [
        f'.TH DRUTILS 1 "" "{roff(version)}" "User Commands"',
        ".SH NAME",
        "drutils \\- command\\-line tool of libdrutils, the Draftium CAD utility library",
        ".SH SYNOPSIS",
        ".B drutils",
        ".I group command",
        "[\\fIoptions\\fR]",
        ".br",
        ".B drutils",
        ".I group",
        ".B \\-\\-help",
        ".br",
        ".B drutils \\-\\-version",
        ".SH DESCRIPTION",
        "Every command belongs to a group.",
        ".B \\-\\-help",
        "after a group or a command describes it;",
        ".B \\-\\-json",
        "gives structured output where a command prints data.",
        "The groups and their commands follow, as the tool describes them.",
        ".SH GROUPS",
    ]
    for name, summary in groups:
        lines += [".TP", f".B {roff(name)}", roff(summary)]
    lines.append(".SH COMMANDS")
    for name, summary in groups:
        lines += [f'.SS "drutils {roff(name)}"', roff(summary)]
        for text in helps[name]:
            lines += [".PP", ".nf"]
            for line in text.expandtabs().rstrip("\n").splitlines():
                lines.append(roff(line) if line else ".sp")
            lines.append(".fi")
    lines += [
        ".SH EXIT STATUS",
        ".TP", ".B 0", "success",
        ".TP", ".B 1", "failure; one line on standard error names the file and the reason",
        ".TP", ".B 2", "wrong usage",
    ]
    return "\n".join(lines) + "\n"


def completion(groups, commands, options):
    def words(items):
        return " ".join(items).replace("'", "")

    cases = []
    for name, _ in groups:
        cases.append(f"        {name}) commands='{words(commands[name])}'; "
                     f"options='{words(options[name])}' ;;")
    group_words = words(["--help", "--version"] + [n for n, _ in groups])
    return f"""\
# bash completion for drutils: groups, their commands and options; file names
# elsewhere. Generated from the tool's own help when the tool is built.
_drutils()
{{
    local cur=${{COMP_WORDS[COMP_CWORD]}} commands options
    COMPREPLY=()
    if (( COMP_CWORD == 1 )); then
        COMPREPLY=($(compgen -W '{group_words}' -- "$cur"))
        return 0
    fi
    case ${{COMP_WORDS[1]}} in
{chr(10).join(cases)}
        *) return 0 ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    elif (( COMP_CWORD == 2 )); then
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
    fi
    return 0
}}
complete -o default -F _drutils drutils
"""


def write(path, text):
    os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="ascii") as f:
        f.write(text)
    os.replace(tmp, path)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__.splitlines()[2])
    tool, man_out, completion_out = sys.argv[1:]
    version = run(tool, "--version").strip()
    groups = []
    for line in run(tool, "--list-groups").splitlines():
        name, _, summary = line.partition("\t")
        if name:
            groups.append((name, summary))
    if not groups:
        sys.exit("gen_tool_docs: 'drutils --list-groups' listed no group")
    helps = {name: run(tool, name, "--help") for name, _ in groups}
    commands = {name: commands_of(name, helps[name]) for name, _ in groups}
    # A command with help of its own (more than its group's) gets it in the man
    # page as well; one whose --help is refused is left to the group's text.
    pages = {}
    for name, _ in groups:
        pages[name] = [helps[name]]
        for command in commands[name]:
            text = run(tool, name, command, "--help", required=False)
            if text.strip() and text not in pages[name]:
                pages[name].append(text)
    options = {name: options_of("".join(pages[name])) for name, _ in groups}
    write(man_out, man_page(version, groups, pages))
    write(completion_out, completion(groups, commands, options))


if __name__ == "__main__":
    main()
