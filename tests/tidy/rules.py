"""The rules of the source tree. Each takes a Tree and yields its findings as (path, line, text)."""

import ast
import os
import re

import cpp
from dialect import helper_comment, unit_name
from documents import described_command, explained_line, kept_behaviour, recorded_session
from tree import CPP_SUFFIXES

MAX_COLUMNS = 100
MAX_FILE_LINES = 500
MAX_FUNCTION_LINES = 70

# Copies that do not know where their destination ends.
UNBOUNDED_COPIES = {"strcpy", "stpcpy", "strcat", "sprintf", "vsprintf", "gets"}

# Which argument of a function is its format.
FORMAT_POSITIONS = {
    "printf": 0, "fprintf": 1, "dprintf": 1, "snprintf": 2, "asprintf": 1, "syslog": 1,
    "vprintf": 0, "vfprintf": 1, "vdprintf": 1, "vsnprintf": 2, "vasprintf": 1, "vsyslog": 1,
    "scanf": 0, "fscanf": 1, "sscanf": 1, "vsscanf": 1,
    "Output_print": 0, "Reason_set": 1,
}

# These hand on a format that was handed to them; their own names belong into the table above, so
# that their callers are checked.
FORMAT_WRAPPERS = ("src/base/output.cpp", "lib/frontend/reason.cpp")

# A format may be put together of literals and of the directives of <cinttypes>.
FORMAT_MACRO = re.compile(r"(PRI|SCN)[diouxX](8|16|32|64|MAX|PTR|LEAST\d+|FAST\d+)$")

PLACED_FOLDERS = ("src/", "lib/", "tools/", "gateway/", "bench/")
ARCHITECTURE = "docs/architecture.md"

# The rooms of each house from the top down: a file includes its own room and the rooms of the lines
# below, nothing else of its house.
HOUSES = (
    (("src/main.cpp",), ("src/dispatch/",), ("src/commands/",), ("src/kit/",), ("src/firmware/",),
     ("src/protocol/",), ("src/console/", "src/netif/"), ("src/base/", "src/base64.")),
    (("lib/client/",),
     ("lib/catalogue/", "lib/frontend/", "lib/health/", "lib/image/", "lib/wire/"),
     ("lib/base/",)),
    (("gateway/main.cpp",), ("gateway/program/",), ("gateway/http/",),
     ("gateway/panel/",), ("gateway/api/",), ("gateway/operations/",),
     ("gateway/asking/", "gateway/store/", "gateway/events/", "gateway/metrics/",
      "gateway/config/"),
     ("gateway/planner/",), ("gateway/state/",), ("gateway/base/",)),
    (("tools/avoipguard/main.cpp",), ("tools/avoipguard/does/",),
     ("tools/avoipguard/concludes/",), ("tools/avoipguard/sees/",),
     ("tools/avoipguard/escape.", "tools/avoipguard/options.")),
)

# Which houses stand beside each other; a house includes of the others what `may` names.
STREET = ("src/", "lib/", "tools/", "gateway/", "tests/", "bench/")
MAY_INCLUDE = {
    "src/": ("lib/image/image.hpp",),
    "lib/": (),
    "tools/": ("lib/",),
    "gateway/": ("lib/",),
    "bench/": ("src/", "lib/", "tests/"),
    "tests/": ("src/", "lib/", "tools/", "gateway/", "bench/"),
}

# What every file of a house declares stands in a namespace that begins so: two programs that gave
# one global name to different things could not be linked together. The daemon's names are global.
NAMESPACES = (("lib/", "avoip"), ("tools/", "avoip::"), ("gateway/", "avoip::"),
              ("tests/bed/", "bed"))
# They define what must be global.
WITHOUT_NAMESPACE = re.compile(r".*/main\.cpp|lib/frontend/avoip_frontend\.(h|cpp)")


def line_length(tree):
    for path in tree.code():
        for number, line in enumerate(tree.text(path).splitlines(), start=1):
            if len(line) > MAX_COLUMNS:
                yield path, number, f"{len(line)} columns; at most {MAX_COLUMNS} are allowed"


def file_length(tree):
    for path in tree.code():
        lines = len(tree.text(path).splitlines())
        if lines > MAX_FILE_LINES:
            yield path, lines, f"{lines} lines; at most {MAX_FILE_LINES} are allowed"


def function_length(tree):
    for path in tree.with_suffix(CPP_SUFFIXES + (".py",)):
        find = _python_functions if path.endswith(".py") else cpp.functions
        for function in find(tree.text(path)):
            lines = function.last_line - function.first_line + 1
            if lines > MAX_FUNCTION_LINES:
                yield (path, function.first_line,
                       f"a function of {lines} lines; at most {MAX_FUNCTION_LINES} are allowed")


def _python_functions(text):
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            yield cpp.Function(node.lineno, node.end_lineno)


def unbounded_copy(tree):
    for path in tree.with_suffix(CPP_SUFFIXES):
        for token in cpp.tokens(tree.text(path)):
            if token.kind == "name" and token.text in UNBOUNDED_COPIES:
                yield path, token.line, f"{token.text} does not know where its destination ends"


def literal_format(tree):
    for path in tree.with_suffix(CPP_SUFFIXES):
        if path in FORMAT_WRAPPERS:
            continue
        for call in cpp.calls(cpp.tokens(tree.text(path))):
            position = FORMAT_POSITIONS.get(call.name)
            if position is None or position >= len(call.arguments):
                continue
            if not _is_literal(call.arguments[position]):
                yield path, call.line, f"the format of {call.name} is not a literal"


def _is_literal(argument):
    return any(token.kind == "string" for token in argument) and all(
        token.kind == "string" or FORMAT_MACRO.match(token.text) for token in argument)


def placement(tree):
    documented = tree.text(ARCHITECTURE) if ARCHITECTURE in tree.files else ""
    places = set(re.findall(r"`([^`\s]+)`", documented))
    for path in tree.with_suffix(CPP_SUFFIXES):
        folder = os.path.dirname(path) + "/"
        if path.startswith(PLACED_FOLDERS) and path not in places and folder not in places:
            yield path, 1, f"{ARCHITECTURE} names neither `{path}` nor `{folder}`"


def include_cycle(tree):
    finished = set()
    for path in tree.with_suffix(CPP_SUFFIXES):
        yield from _cycles(tree, path, [], finished)


def _cycles(tree, path, road, finished):
    """The cycles that are met on from `path`, which was reached by `road`."""
    if path in finished:
        return
    for line, target in tree.includes(path):
        if target in road + [path]:
            circle = (road + [path])[(road + [path]).index(target):] + [target]
            yield path, line, "an include comes back to its beginning: " + " -> ".join(circle)
        else:
            yield from _cycles(tree, target, road + [path], finished)
    finished.add(path)


def include_direction(tree):
    for path in tree.with_suffix(CPP_SUFFIXES):
        house = _first_of(STREET, path)
        if house is None:
            continue
        position = _position(path)
        if position is None and any(path.startswith(os.path.commonprefix(sum(rooms, ())))
                                    for rooms in HOUSES):
            yield path, 1, "stands in no room of its house"
        for line, target in tree.includes(path):
            if not target.startswith((house,) + MAY_INCLUDE[house]):
                yield path, line, f"{house} must not include {target}"
            elif position is not None and _is_above_or_beside(position, _position(target)):
                yield path, line, f"{position[2]} must not include {target}"


def own_namespace(tree):
    for path in tree.with_suffix(CPP_SUFFIXES):
        name = next((name for house, name in NAMESPACES if path.startswith(house)), None)
        if name is None or WITHOUT_NAMESPACE.fullmatch(path):
            continue
        code = cpp.tokens(tree.text(path), macros=False)
        while [token.text for token in code[:1] + code[2:3]] == ["struct", ";"]:
            code = code[3:]  # somebody else's type, by its name alone
        opening = "".join(token.text for token in code[1:4])
        if code and (code[0].text != "namespace" or not opening.startswith(name)):
            yield path, code[0].line, f"declares something outside of the namespace {name}"


def _first_of(beginnings, path):
    return next((each for each in beginnings if path.startswith(each)), None)


def _position(path):
    """The number of the house, the line of the room in it, and the room; None for no room."""
    for number, rooms in enumerate(HOUSES):
        for line, names in enumerate(rooms):
            if room := _first_of(names, path):
                return number, line, room
    return None


def _is_above_or_beside(position, other):
    return (other is not None and other[0] == position[0] and other[2] != position[2]
            and other[1] <= position[1])


RULES = {
    "line_length": line_length,
    "file_length": file_length,
    "function_length": function_length,
    "unbounded_copy": unbounded_copy,
    "literal_format": literal_format,
    "placement": placement,
    "include_cycle": include_cycle,
    "include_direction": include_direction,
    "own_namespace": own_namespace,
    "unit_name": unit_name,
    "helper_comment": helper_comment,
    "recorded_session": recorded_session,
    "described_command": described_command,
    "kept_behaviour": kept_behaviour,
    "explained_line": explained_line,
}
