"""Each protection that is taken away is found missing, it and no other: in the commands and, as far
as it shows there, in a program.

The compiler and the flags of the build come in the environment, as CXX, HARDENING_COMPILE and
HARDENING_LINK.
"""

import os
import tempfile
import unittest

import hardening

COMPILER = os.environ["CXX"]
COMPILE = os.environ["HARDENING_COMPILE"].split()
LINK = os.environ["HARDENING_LINK"].split()
MACHINE = hardening.machine_of(COMPILER)
TOOLS = hardening.tools_of(COMPILER)
LEVEL = hardening.fortify_level_of(COMPILER)

# A program in which each protection has something to protect.
PROBE = """
#include <cstring>
#include <vector>
int main(int count, char** arguments) {
    char text[64] = "";
    std::memcpy(text, arguments[0], static_cast<unsigned>(count));
    volatile char frame[20000];
    frame[count] = text[count];
    std::vector<int> numbers(static_cast<unsigned>(count));
    return numbers[static_cast<unsigned char>(text[0])] + frame[0];
}
"""

# The protection, and the flag that takes it away.
TAKEN_WHEN_COMPILED = [
    ("stack protector", "-fno-stack-protector"),
    ("stack clash probes", "-fno-stack-clash-protection"),
    ("fortified C library calls", "-U_FORTIFY_SOURCE"),
    ("C++ library assertions", "-U_GLIBCXX_ASSERTIONS"),
]
TAKEN_WHEN_LINKED = [
    ("position-independent program", "-no-pie"),
    ("read-only relocations", "-Wl,-z,norelro"),
    ("immediate binding", "-Wl,-z,lazy"),
]
if MACHINE in hardening.CONTROL_FLOW:
    TAKEN_WHEN_COMPILED.append(("control flow marks", {
        "x86": "-fcf-protection=none", "aarch64": "-mbranch-protection=none"}[MACHINE]))


class Flags(unittest.TestCase):
    def missing(self, compile_flags, link_flags):
        commands = [" ".join(["c++", *compile_flags, "-o", "a.o", "-c", "a.cpp"]),
                    " ".join([": && c++", *link_flags, "a.o", "-o", "a", "&& :"]),
                    ": && ar qc liba.a a.o && ranlib liba.a && :"]
        return list(hardening.missing_flags(commands, LEVEL, MACHINE))

    def test_of_the_build_lack_nothing(self):
        self.assertEqual(self.missing(COMPILE, LINK), [])

    def test_that_are_not_there_are_missing(self):
        for flag in COMPILE:
            if flag != "-U_FORTIFY_SOURCE":
                with self.subTest(flag):
                    rest = [other for other in COMPILE if other != flag]
                    self.assertEqual([where for where, _ in self.missing(rest, LINK)], ["a.o"])
        for flag in LINK:
            with self.subTest(flag):
                rest = [other for other in LINK if other != flag]
                self.assertEqual([where for where, _ in self.missing(COMPILE, rest)], ["a"])

    def test_that_come_later_and_say_the_contrary_count(self):
        for name, contrary in [*TAKEN_WHEN_COMPILED, ("position-independent code", "-fno-pie"),
                               ("stack protector", "-fstack-protector"),
                               ("fortified C library calls", "-D_FORTIFY_SOURCE=1")]:
            with self.subTest(contrary):
                self.assertEqual(self.missing([*COMPILE, contrary], LINK), [("a.o", name)])
        for name, contrary in TAKEN_WHEN_LINKED:
            with self.subTest(contrary):
                self.assertEqual(self.missing(COMPILE, [*LINK, contrary]), [("a", name)])


class Program(unittest.TestCase):
    def missing(self, *more):
        with tempfile.TemporaryDirectory() as folder:
            source, program = os.path.join(folder, "probe.cpp"), os.path.join(folder, "probe")
            with open(source, "w", encoding="utf-8") as file:
                file.write(PROBE)
            hardening.run(COMPILER, "-O2", *COMPILE, *LINK, *more, "-o", program, source)
            return hardening.missing_in_program(program, TOOLS, MACHINE)

    def test_with_all_protections_lacks_nothing(self):
        self.assertEqual(self.missing(), [])

    def test_lacks_what_was_taken_away(self):
        for name, contrary in [*TAKEN_WHEN_COMPILED, *TAKEN_WHEN_LINKED,
                               ("stack that is not executed", "-Wl,-z,execstack")]:
            with self.subTest(contrary):
                self.assertEqual(self.missing(contrary), [name])


if __name__ == "__main__":
    unittest.main()
