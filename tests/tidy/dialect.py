"""The rules of the one dialect that clang-tidy cannot see; the others are in .clang-tidy."""

import re

import cpp
from tree import CPP_SUFFIXES

# A quantity says its unit last and in small letters. In constants it is a word like the others.
UNIT = re.compile(r"(?!k[A-Z])[a-z]\w*(Ns|Us|Ms|Seconds|KiB|Bytes)_?$")

_NAMESPACE = re.compile(r"^namespace \{$.*?^\}  // namespace$", re.MULTILINE | re.DOTALL)

# A function of no class, and no test; its comment.
_HELPER = re.compile(r"(?!TEST)\w[^(]*[^:(\w]\w+\(")
_TWO_STROKES = re.compile(r"//(?!/)(?!.*(kept:|NOLINT))")


def unit_name(tree):
    for path in tree.with_suffix(CPP_SUFFIXES):
        seen = set()
        for token in cpp.tokens(tree.text(path)):
            if token.kind == "name" and UNIT.match(token.text) and token.text not in seen:
                seen.add(token.text)
                yield path, token.line, f"write the unit of {token.text} as in timeout_ms"


def helper_comment(tree):
    """What says what a local function does begins with three strokes, as in a header."""
    for path in tree.with_suffix(CPP_SUFFIXES):
        text = tree.text(path)
        lines = text.splitlines()
        local = [range(text.count("\n", 0, match.start()) + 1, text.count("\n", 0, match.end()) + 1)
                 for match in _NAMESPACE.finditer(text)]
        for function in cpp.functions(text):
            head = lines[function.first_line - 1]
            comment = lines[function.first_line - 2] if function.first_line > 1 else ""
            if (any(function.first_line in each for each in local) and _HELPER.match(head)
                    and _TWO_STROKES.match(comment)):
                yield path, function.first_line - 1, "begin the comment of a helper with ///"
