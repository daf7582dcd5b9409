"""The rules of the documents: what docs/commands.md shows was recorded, and it shows everything;
what is kept on purpose is named alike in the code and in its page."""

import re

from tree import CPP_SUFFIXES

COMMANDS = "docs/commands.md"
CONSOLE = "docs/console.md"
TRANSCRIPTS = "tests/transcripts/"
KEPT = "docs/kept-behaviours.md"

# A behaviour that is kept on purpose: the tag at the code, and the entry that the page has for it.
_KEPT_TAG = re.compile(r"\bkept: ([a-z0-9-]+)")
_KEPT_ENTRY = re.compile(r"^## ([a-z0-9-]+)$", re.MULTILINE)

# The table of all commands, up to the empty line behind it. Each row begins with a console text.
_TABLE = re.compile(r"^\| Console text \|.*\n(?:.+\n)*", re.MULTILINE)
_CONSOLE_TEXT = re.compile(r"^\| (`[^`]+!`) \|", re.MULTILINE)


def recorded_session(tree):
    """A command and what came of it, in a block marked as text, stands in a transcript as it is."""
    records = {exchange for path in tree.files
               if path.startswith(TRANSCRIPTS) and path.endswith(".txt")
               for _, exchange in _exchanges(tree.text(path).splitlines())}
    for start, exchange in _exchanges(_text_blocks(tree, COMMANDS)):
        if exchange not in records:
            yield COMMANDS, start, "no transcript has this; copy it anew from tests/transcripts"


def described_command(tree):
    """Every command of the console's table stands in the reference too."""
    described = tree.text(COMMANDS) if COMMANDS in tree.files else ""
    text = tree.text(CONSOLE) if CONSOLE in tree.files else ""
    for table in _TABLE.finditer(text):
        for row in _CONSOLE_TEXT.finditer(text, table.start(), table.end()):
            if row.group(1) not in described:
                line = text.count("\n", 0, row.start()) + 1
                yield CONSOLE, line, f"{COMMANDS} does not describe {row.group(1)}"


def kept_behaviour(tree):
    """Each tag at the code has its entry in the page, and each entry a tag in the daemon."""
    page = tree.text(KEPT) if KEPT in tree.files else ""
    entries = {match.group(1): match for match in _KEPT_ENTRY.finditer(page)}
    tagged = set()
    for path in tree.with_suffix(CPP_SUFFIXES):
        text = tree.text(path)
        for match in _KEPT_TAG.finditer(text):
            if path.startswith("src/"):
                tagged.add(match.group(1))
            if match.group(1) not in entries:
                yield path, _line_of(match), f"{KEPT} has no entry {match.group(1)}"
    for name, match in entries.items():
        if name not in tagged:
            yield KEPT, _line_of(match), f"no code of the daemon has the tag kept: {name}"


def _line_of(match):
    return match.string.count("\n", 0, match.start(1)) + 1


def _text_blocks(tree, path):
    """The document's lines, with an empty one for each that stands outside of a text block."""
    inside = False
    for line in tree.text(path).splitlines() if path in tree.files else ():
        if line.startswith("```"):
            inside = line == "```text"
            yield ""
        else:
            yield line if inside else ""


def _exchanges(lines):
    """The runs of lines between comments and empty lines, each as (number of its first, run)."""
    run = []
    for number, line in enumerate([*lines, ""], start=1):
        if line and not line.startswith("#"):
            run.append(line)
        elif run:
            yield number - len(run), tuple(run)
            run = []
