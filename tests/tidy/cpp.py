"""Just enough of C++ to find its functions and calls: a tokenizer and what is built on it.

Its limits: macros are not expanded, every branch of an #if is read, and a lambda that initialises a
variable outside of all functions is not seen as a function.
"""

import re
from typing import NamedTuple


class Token(NamedTuple):
    kind: str  # "name", "number", "string", "char" or "mark"
    text: str
    line: int


class Function(NamedTuple):
    first_line: int  # where its declaration begins
    last_line: int  # where its closing brace stands


class Call(NamedTuple):
    name: str
    line: int
    arguments: list  # of lists of tokens


_TOKEN = re.compile(
    r"""
      (?P<space>\s+|\\\n)
    | (?P<comment>//(?:\\\n|[^\n])*|/\*.*?\*/)
    | (?P<directive>\#[ \t]*(?:define|undef|include|if|ifdef|ifndef|elif|else|endif|error|warning|
                             line|pragma)\b(?:\\\n|/\*.*?\*/|[^\n])*)
    | (?P<string>(?:u8|[uUL])?R"(?P<fence>[^()\s]*)\(.*?\)(?P=fence)"
                |(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
    | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])*')
    | (?P<name>[A-Za-z_]\w*)
    | (?P<number>\.?\d(?:[eEpP][+-]|'(?=\w)|[\w.])*)
    | (?P<mark>::|->|\.\.\.|==|!=|<=|>=|&&|\|\||.)
    """,
    re.VERBOSE | re.DOTALL)

_TOKEN_KINDS = ("name", "number", "string", "char", "mark")
_MACRO = re.compile(r"#[ \t]*define\b")


def tokens(text, macros=True, line=1):
    """The tokens of `text` without its comments and directives; with `macros`, the text of each
    #define is read as code."""
    found = []
    for match in _TOKEN.finditer(text):
        kind, part = match.lastgroup, match.group()
        if kind in _TOKEN_KINDS:
            found.append(Token(kind, part, line))
        elif kind == "directive" and macros and _MACRO.match(part):
            found += tokens(_MACRO.sub("", part, count=1), macros, line)
        line += part.count("\n")
    return found


def functions(text):
    """Every function with a body, those inside of classes too; what stands within a function
    (a lambda, a local class) is a part of it."""
    code = tokens(text, macros=False)
    found = []
    head = []  # what was read since the last declaration ended; of brackets, only the ends
    position = 0
    while position < len(code):
        token = code[position]
        if token.text in (";", "}"):
            head = []
        elif token.text == ":" and [before.text for before in head] in _ACCESS:
            head = []
        elif token.text == "{" and _opens_scope(head):
            head = []
        elif token.text in _CLOSING:
            end = _closing_position(code, position)
            if token.text == "{" and _opens_body(head):
                found.append(Function(head[0].line, code[end].line))
                head = []
            else:
                head += [token, code[end]]
            position = end
        else:
            head.append(token)
        position += 1
    return found


def calls(code):
    """Every call `name(arguments)` in a list of tokens. A declaration looks alike but for the type
    before its name, and is left out."""
    for position in range(len(code) - 1):
        if code[position].kind != "name" or code[position + 1].text != "(":
            continue
        if _is_declared(code, position):
            continue
        end = _closing_position(code, position + 1)
        yield Call(code[position].text, code[position].line,
                   _split_arguments(code[position + 2:end]))


_CLOSING = {"(": ")", "{": "}", "[": "]"}
_ACCESS = (["public"], ["protected"], ["private"])
_CLASS_KEYS = ("class", "struct", "union", "enum")
_BEFORE_A_BODY = (")", "}", "const", "noexcept", "override", "final", "try", "&", "&&")
_BEFORE_A_CALL = ("return", "co_return", "co_await", "throw", "else", "do", "case", "and", "or",
                  "not")


def _closing_position(code, opening):
    """Where the bracket at `opening` is closed; the last position if it never is."""
    depth = 0
    opened, closed = code[opening].text, _CLOSING[code[opening].text]
    for position in range(opening, len(code)):
        if code[position].text == opened:
            depth += 1
        elif code[position].text == closed:
            depth -= 1
            if depth == 0:
                return position
    return len(code) - 1


def _without_template(head):
    """`head` without the template<...> that it begins with."""
    if not head or head[0].text != "template":
        return head
    depth = 0
    for position, token in enumerate(head):
        depth += {"<": 1, ">": -1}.get(token.text, 0)
        if token.text == ">" and depth == 0:
            return _without_template(head[position + 1:])
    return head


def _opens_scope(head):
    """Whether a brace after `head` opens a namespace, a class or a list of enumerators."""
    texts = [token.text for token in _without_template(head)]
    if not texts or texts[-1] == ")" or "=" in texts:
        return False
    if texts[0] == "extern":
        return len(texts) == 2 and head[1].kind == "string"
    return "namespace" in texts or (any(key in texts for key in _CLASS_KEYS) and "->" not in texts)


def _opens_body(head):
    """Whether a brace after `head` opens the body of a function, not an initialiser."""
    texts = [token.text for token in _without_template(head)]
    if ")" not in texts or ("=" in texts and "operator" not in texts):
        return False
    return texts[-1] in _BEFORE_A_BODY or "->" in texts


def _is_declared(code, position):
    """Whether the name at `position`, with a bracket behind it, is declared there, not called."""
    before = position - 1
    while before >= 0 and code[before].text == "::":
        before -= 1
        if before >= 0 and code[before].kind == "name" and code[before].text not in _BEFORE_A_CALL:
            before -= 1
    if before < 0:
        return False
    if code[before].kind == "name":
        return code[before].text not in _BEFORE_A_CALL
    return code[before].text in ("*", "&") and before > 0 and code[before - 1].kind == "name"


def _split_arguments(code):
    arguments = [[]]
    depth = 0
    for token in code:
        if token.text in _CLOSING:
            depth += 1
        elif token.text in _CLOSING.values():
            depth -= 1
        if token.text == "," and depth == 0:
            arguments.append([])
        else:
            arguments[-1].append(token)
    return arguments
