"""The rule that every header compiles alone, with the flags that its neighbours are built with."""

import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess

from tree import HEADER_SUFFIXES

AT_ONCE = 2


def header_alone(tree, build):
    """Compiles each header below `tree`; `build` is the build directory: it holds
    compile_commands.json, and remembers what has compiled as it stands."""
    commands = _read_commands(tree, build)
    reached = {source: _reached(tree, source) for source, _ in commands
               if os.path.exists(os.path.join(tree.root, source))}
    memory = os.path.join(build, "tidy")
    os.makedirs(memory, exist_ok=True)

    def check(task):
        path, language = task
        command = _command_for(path, language, commands, reached)
        stamp = os.path.join(memory, _digest(tree, path, command))
        if os.path.exists(stamp):
            return None
        source = f'#include "{os.path.join(tree.root, path)}"\n'
        result = subprocess.run(command, input=source, cwd=build, capture_output=True, text=True,
                                check=False)
        if result.returncode == 0:
            open(stamp, "w", encoding="utf-8").close()
            return None
        return path, 1, f"does not compile alone as {language}:\n{result.stderr.rstrip()}"

    with concurrent.futures.ThreadPoolExecutor(AT_ONCE) as pool:
        yield from filter(None, pool.map(check, _tasks(tree)))


def _tasks(tree):
    """Every header as C++, and those named .h, which are for C programs too, also as C."""
    for path in tree.with_suffix(HEADER_SUFFIXES):
        yield path, "c++"
        if path.endswith(".h"):
            yield path, "c"


def _read_commands(tree, build):
    """The compiler calls of the build as (path of the source in the tree, arguments)."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    return [(os.path.relpath(entry["file"], tree.root), shlex.split(entry["command"]))
            for entry in entries]


def _reached(tree, path):
    """`path` and all files of the tree that it includes, directly or not."""
    waiting, seen = [path], {path}
    while waiting:
        for _, target in tree.includes(waiting.pop()):
            if target not in seen:
                seen.add(target)
                waiting.append(target)
    return seen


def _command_for(path, language, commands, reached):
    """The compiler call of a source that includes `path`, or else of the source that stands
    nearest to it, made to read a header."""
    def suits(command):
        source, _ = command
        nearness = len(os.path.commonprefix([os.path.dirname(path) + "/", source]))
        return path in reached.get(source, ()), nearness

    _, arguments = max(commands, key=suits)
    if os.path.basename(arguments[0]) == "ccache":
        arguments = arguments[1:]
    kept = [arguments[0]]
    position = 1
    while position < len(arguments):
        argument = arguments[position]
        # Alone is without the headers that the tests have compiled before.
        precompiled = argument == "-include" and arguments[position + 1].endswith("cmake_pch.hxx")
        if argument in ("-o", "-c") or precompiled:
            position += 1
        elif argument in ("-isystem", "-include"):
            kept += arguments[position:position + 2]
            position += 1
        elif argument.startswith(("-I", "-D", "-W", "-pthread")) or (
                argument.startswith("-std=") and language == "c++"):
            kept.append(argument)
        position += 1
    standard = ["-std=c11"] if language == "c" else []
    return kept + standard + ["-fsyntax-only", "-x", language, "-"]


def _digest(tree, path, command):
    """One name for a header, all of ours that it includes, and the way it is compiled."""
    digest = hashlib.sha256("\0".join(command).encode())
    for current in sorted(_reached(tree, path)):
        digest.update(f"\0{current}\0{tree.text(current)}".encode())
    return digest.hexdigest()
