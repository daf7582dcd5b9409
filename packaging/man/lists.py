#!/usr/bin/env python3
"""Keeps the lists in the manual pages what the programs say of themselves.

    packaging/man/lists.py AVOIPCTL AVOIPSIM            writes them into the pages anew
    packaging/man/lists.py --check AVOIPCTL AVOIPSIM    says which pages differ; exit status 1 then

A list stands between '.\\" begin NAME' and '.\\" end of NAME'. AVOIPCTL and AVOIPSIM are the built
programs: their catalogue and their options are what the lists are made of.
"""

import pathlib
import re
import subprocess
import sys
import textwrap

FOLDER = pathlib.Path(__file__).parent


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def escaped(text):
    """Text as mdoc takes it: no escape of it, no control line and no macro by accident."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\\&" + text if text[:1] in ".'" else text


def item(words):
    """An item's head: what is in capitals is an argument."""
    head = ".It"
    before = ""
    for word in words.split():
        text = word.removesuffix("!")
        macro = "Ar" if re.fullmatch(r"[A-Z]+", text) else "Ic"
        head += " " + macro if macro != before else ""
        head += " " + escaped(text.lower() if macro == "Ar" else text)
        head += " Ns Ic \\&!" if text != word else ""
        before = macro
    return head


def paragraph(text):
    """Text in lines that are not long, each sentence on new ones."""
    for sentence in re.split(r"(?<=[.]) (?=[A-Z])", text):
        for line in textwrap.wrap(sentence, 78, break_long_words=False, break_on_hyphens=False):
            yield escaped(line)


def command_rows(avoipctl):
    """The rows of the catalogue's table: console text, subcommand, summary, data, time-out."""
    for line in output_of(avoipctl, "--print-command-table").splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if cells[0].startswith("`"):
            yield [cell.replace("`", "") for cell in cells]


def commands(avoipctl):
    for console, _, summary, data, timeout in command_rows(avoipctl):
        yield item(console)
        yield from paragraph(f"{summary}; {data}; {timeout}.")


def subcommands(avoipctl):
    for _, subcommand, summary, _, _ in command_rows(avoipctl):
        yield item(subcommand)
        yield from paragraph(f"{summary}.")


# "--port UINT:INT in [1 - 65535]=6888   Port of the console", as CLI11 prints an option.
OPTION = re.compile(r"  (-\S+)(?: ([A-Z]+\b\S*(?: in \[[^]]*\]\S*)?(?: \.\.\.)?)(?=  |$))?\s*(.*)")


def options(program, help_option="--help"):
    """What the help lists: (heading, [(option, text)]), the first heading being "Options"."""
    groups = []
    for line in output_of(program, help_option).splitlines():
        option = OPTION.match(line)
        if re.match(r"[A-Z][^.]*:$", line):
            groups.append((line.rstrip(":"), []))
        elif option and groups:
            groups[-1][1].append([option.group(1), option.group(2) or "", option.group(3)])
        elif line.startswith(" " * 20) and groups and groups[-1][1]:
            groups[-1][1][-1][2] += " " + line.strip()
    return [(heading, entries) for heading, entries in groups if entries]


def option_items(entries):
    for names, value, text in entries:
        kind = re.match(r"[A-Z]*", value).group()
        default = re.search(r"=(\S+)$", value)
        flags = " , ".join("Fl " + escaped(name.removeprefix("-")) for name in names.split(","))
        yield f".It {flags}" + (f" Ar {kind.lower()}" if kind else "")
        text = text.strip() + (f" [{default.group(1)}]" if default else "")
        yield from paragraph(text if text.endswith(".") else text + ".")


def first_options(program):
    # Its --help is but the first screen.
    return option_items(options(program, "--help-all")[0][1])


def grouped_options(program):
    for heading, entries in options(program):
        yield f".Ss {escaped(heading)}"
        yield ".Bl -tag -width indent"
        yield from option_items(entries)
        yield ".El"


def filled(text, name, lines):
    begin, end = f'.\\" begin {name}\n', f'.\\" end of {name}\n'
    head, found, rest = text.partition(begin)
    _, also_found, tail = rest.partition(end)
    if not found or not also_found:
        sys.exit(f"lists.py: a page has no place for the list \"{name}\"")
    return head + begin + "".join(line + "\n" for line in lines) + end + tail


def main():
    arguments = sys.argv[1:]
    checks = arguments[:1] == ["--check"]
    if len(arguments) != 2 + checks:
        sys.exit("usage: packaging/man/lists.py [--check] AVOIPCTL AVOIPSIM")
    avoipctl, avoipsim = arguments[checks:]
    lists = [
        ("avoipctl.1", "options", first_options(avoipctl)),
        ("avoipctl.1", "subcommands", subcommands(avoipctl)),
        ("avoipsim.1", "options", grouped_options(avoipsim)),
        ("avoip-console.7", "commands", commands(avoipctl)),
    ]
    different = False
    for page, name, lines in lists:
        path = FOLDER / page
        before = path.read_text()
        after = filled(before, name, lines)
        if checks and after != before:
            print(f"{page} does not list what the programs have; run packaging/man/lists.py")
            different = True
        elif after != before:
            path.write_text(after)
    sys.exit(1 if different else 0)


main()
