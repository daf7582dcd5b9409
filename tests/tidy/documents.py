"""The rules of the documents: what docs/commands.md shows was recorded, and it shows everything;
what is kept on purpose is named alike in the code and in its page; every line that the daemon
prints is explained."""

import re

import cpp
from tree import CPP_SUFFIXES

COMMANDS = "docs/commands.md"
CONSOLE = "docs/console.md"
TRANSCRIPTS = "tests/transcripts/"
KEPT = "docs/kept-behaviours.md"

# A behaviour that is kept on purpose: the tag at the code, and the entry that the page has for it.
_KEPT_TAG = re.compile(r"\bkept: ([a-z0-9-]+)")
_KEPT_ENTRY = re.compile(r"^## ([a-z0-9-]+)$", re.MULTILINE)

OPERATE = "docs/operate.md"
# The lines that the daemon prints are explained in this section. What varies stands there in
# capitals.
_LINES = re.compile(r"^## What the daemon prints$.*?(?=^## |\Z)", re.MULTILINE | re.DOTALL)
_LINE = re.compile(r"`([^`]+)`")
_VALUE = re.compile(r"(?<![A-Za-z])[A-Z]+(?![A-Za-z])")

# Who prints a text that it is given, and what comes behind that text.
_PRINTING = {"Output_print": "", "Output_systemError": ": X", "Command_fail": "",
             "printError": " error:X X"}
# The one hands on what it is given. Of the other, the daemon asks for a MAC address alone.
_UNEXPLAINED = ("src/base/", "src/netif/")
# Texts that are handed on to one of those say what went wrong.
_HANDED_ON = re.compile(r"(err!|error|failed!)$")
_DIRECTIVE = re.compile(r"%(?:\.\*)?[a-z]+")

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


def explained_line(tree):
    """Every line that the daemon prints stands in the page for operators, with what it means."""
    page = "".join(_LINES.findall(tree.text(OPERATE) if OPERATE in tree.files else ""))
    explained = [re.compile(_VALUE.sub(".+", re.escape(line))) for line in _LINE.findall(page)]
    for path in tree.with_suffix((".cpp",)):
        if path.startswith("src/") and not path.startswith(_UNEXPLAINED):
            for number, line in _printed(cpp.tokens(tree.text(path))):
                if not any(each.fullmatch(line) for each in explained):
                    yield path, number, f"{OPERATE} does not explain this line: {line}"


def _printed(code):
    """The lines that a source prints, as (number, line), with X for each value."""
    direct = set()
    for call in cpp.calls(code):
        first = call.arguments[0]
        if call.name in _PRINTING and first and first[0].kind == "string":
            direct.add(first[0])
            line = _line_of_literal(first[0].text) + _PRINTING[call.name]
            if re.search("[a-z]", line):
                yield call.line, line
    for token in code:
        if token.kind == "string" and token not in direct:
            line = _line_of_literal(token.text)
            if _HANDED_ON.search(line):
                yield token.line, line


def _line_of_literal(literal):
    text = literal[1:-1].removesuffix("\\n").removeprefix("\\n").replace("\\t", " ")
    return _DIRECTIVE.sub("X", text).strip()


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
