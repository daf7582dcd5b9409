"""Says what hardening a program lacks: by the commands that make it, and by the program itself.

    hardening.py --build DIRECTORY --target PATH      one program of a build by Ninja, as it stands
    hardening.py --preset NAME --root DIRECTORY       all that a preset makes; nothing is built

Some of it cannot be seen in the program: which level of a protection it has, and marks that the
linker takes away when the C library's own start files lack them. So the flags of every compiler
call are read too; of those that contradict each other the last one counts.

Each finding is printed as a line. Exit status: 0 without findings, 1 with them or when they cannot
be had, 2 for wrong usage.
"""

import argparse
import os
import re
import shlex
import subprocess
import sys
import tempfile

# What a compiler call must say: the name of the protection, all flags that decide about it, and the
# one that must be the last of them.
COMPILE = (
    ("position-independent code", r"-f(no-)?(pie|pic)", "-fPIE"),
    ("stack protector", r"-f(no-)?stack-protector.*", "-fstack-protector-strong"),
    ("stack clash probes", r"-f(no-)?stack-clash-protection", "-fstack-clash-protection"),
    ("C++ library assertions", r"-[DU]_GLIBCXX_ASSERTIONS(=.*)?", "-D_GLIBCXX_ASSERTIONS"),
)
FORTIFY = ("fortified C library calls", r"-[DU]_FORTIFY_SOURCE(=.*)?")
CONTROL_FLOW = {
    "x86": ("control flow marks", r"-fcf-protection(=.*)?", "-fcf-protection"),
    "aarch64": ("control flow marks", r"-mbranch-protection=.*", "-mbranch-protection=standard"),
}
LINK = (
    ("position-independent program", r"-(no-|static-)?pie", "-pie"),
    ("read-only relocations", r"-Wl,-z,(no)?relro", "-Wl,-z,relro"),
    ("immediate binding", r"-Wl,-z,(now|lazy)", "-Wl,-z,now"),
)

# What code begins a function with, and how it touches the pages of a large frame.
FUNCTION_BEGINS = {"x86": r"endbr(64|32)", "aarch64": r"bti|paciasp"}
STACK_PROBE = {"x86": r"or[lq] +\$0x0,\(%[er]sp\)", "aarch64": r"str\s+xzr, \[sp, #1024\]"}


def run(*command, **options):
    result = subprocess.run(command, capture_output=True, text=True, check=False,
                            env={**os.environ, "LC_ALL": "C"}, **options)
    if result.returncode != 0:
        sys.exit(f"hardening.py: this failed: {shlex.join(command)}\n{result.stderr.rstrip()}")
    return result.stdout


def missing_flags(commands, fortify_level, machine):
    """What each of the commands lacks, as (what it makes, protection)."""
    compile_flags = [*COMPILE, (*FORTIFY, f"-D_FORTIFY_SOURCE={fortify_level}")]
    if machine in CONTROL_FLOW:
        compile_flags.append(CONTROL_FLOW[machine])
    for words in map(shlex.split, commands):
        if "-o" not in words:
            continue
        for name, family, wanted in compile_flags if "-c" in words else LINK:
            deciding = [word for word in words if re.fullmatch(family, word, re.IGNORECASE)]
            if deciding[-1:] != [wanted]:
                yield words[words.index("-o") + 1], name


def missing_in_program(path, tools, machine):
    """What cannot be seen in a program that is there. It must not have been stripped."""
    header, dynamic = (run(tools["readelf"], "--wide", option, path)
                       for option in ("--file-header", "--dynamic"))
    segments = run(tools["readelf"], "--wide", "--program-headers", path)
    symbols = run(tools["readelf"], "--wide", "--dyn-syms", path)
    seen = {
        "position-independent program": re.search(r"Type:\s+DYN", header)
                                        and re.search(r"FLAGS_1.*\bPIE\b", dynamic),
        "read-only relocations": "GNU_RELRO" in segments,
        "immediate binding": re.search(r"\((FLAGS|FLAGS_1)\).*\b(BIND_NOW|NOW)\b", dynamic),
        "stack that is not executed": re.search(r"GNU_STACK .* RW ", segments),
        "stack protector": re.search(r"UND __stack_chk_fail\b", symbols),
        "fortified C library calls": re.search(r"UND __(?!stack)\w+_chk\b", symbols),
        "C++ library assertions": re.search(r"UND \w+__glibcxx_assert_fail", symbols),
    }
    if machine in FUNCTION_BEGINS:
        begin = run(tools["objdump"], "--disassemble=main", "--no-show-raw-insn", path)
        code = run(tools["objdump"], "--disassemble", "--no-show-raw-insn", path)
        seen["control flow marks"] = re.search(
            r"<main>:\n\s*\w+:\s+(" + FUNCTION_BEGINS[machine] + r")\b", begin)
        seen["stack clash probes"] = re.search(STACK_PROBE[machine], code)
    return [name for name, found in seen.items() if not found]


def compiler_of(commands):
    """What the first compiler call runs."""
    words = next(words for words in map(shlex.split, commands) if "-c" in words)
    return words[1] if os.path.basename(words[0]) == "ccache" else words[0]


def fortify_level_of(compiler):
    question = "__has_builtin(__builtin_dynamic_object_size)"
    answer = run(compiler, "-E", "-P", "-x", "c++", "-", input=question)
    return 3 if answer.strip() == "1" else 2


def machine_of(compiler):
    name = run(compiler, "-dumpmachine").split("-")[0]
    return "x86" if re.fullmatch(r"x86_64|i[3-6]86", name) else name


def tools_of(compiler):
    """What reads the programs that the compiler makes."""
    return {name: run(compiler, f"-print-prog-name={name}").strip()
            for name in ("readelf", "objdump")}


def findings_of_target(build, target):
    commands = run("ninja", "-C", build, "-t", "commands", target).splitlines()
    compiler = compiler_of(commands)
    machine = machine_of(compiler)
    yield from missing_flags(commands, fortify_level_of(compiler), machine)
    for name in missing_in_program(os.path.join(build, target), tools_of(compiler), machine):
        yield target, name


def findings_of_preset(root, preset):
    with tempfile.TemporaryDirectory() as build:
        run("cmake", "--preset", preset, "-B", build, cwd=root)
        commands = run("ninja", "-C", build, "-t", "commands").splitlines()
    compiler = compiler_of(commands)
    yield from missing_flags(commands, fortify_level_of(compiler), machine_of(compiler))


def main():
    parser = argparse.ArgumentParser(description="Says what hardening a program lacks.")
    parser.add_argument("--build", help="a build by Ninja")
    parser.add_argument("--target", help="a program in it, by its path there")
    parser.add_argument("--preset", help="a preset, instead")
    parser.add_argument("--root", help="the top of the tree that has the preset")
    options = parser.parse_args()

    if options.build and options.target:
        findings = findings_of_target(options.build, options.target)
    elif options.preset and options.root:
        findings = findings_of_preset(options.root, options.preset)
    else:
        parser.error("give --build and --target, or --preset and --root")
    found = False
    for where, name in findings:
        print(f"{where}: no {name}")
        found = True
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
