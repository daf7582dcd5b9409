"""Each rule finds the small bad example that is made for it, where it stands, and leaves the good
one alone."""

import json
import os
import tempfile
import unittest

import cpp
import dialect
import headers
import rules
from tree import Tree


class RuleTest(unittest.TestCase):
    def setUp(self):
        self._directory = tempfile.TemporaryDirectory()
        self.addCleanup(self._directory.cleanup)
        self.root = self._directory.name

    def write(self, path, text):
        whole = os.path.join(self.root, path)
        os.makedirs(os.path.dirname(whole), exist_ok=True)
        with open(whole, "w", encoding="utf-8") as file:
            file.write(text)

    def places(self, rule):
        """Where the rule finds something in what was written, as (path, line)."""
        return [(path, line) for path, line, _ in rule(Tree(self.root))]


class Lengths(RuleTest):
    def test_a_line_of_101_columns_is_found_and_one_of_100_is_not(self):
        self.write("src/a.cpp", "//" + "x" * 98 + "\n" + "//" + "x" * 99 + "\n")
        self.assertEqual(self.places(rules.line_length), [("src/a.cpp", 2)])

    def test_columns_are_characters_not_bytes(self):
        self.write("src/a.cpp", "//" + "ä" * 98 + "\n")
        self.assertEqual(self.places(rules.line_length), [])

    def test_a_long_line_of_a_script_is_found(self):
        self.write("scripts/run", "#!/bin/sh\n" + "x" * 101 + "\n")
        self.assertEqual(self.places(rules.line_length), [("scripts/run", 2)])

    def test_a_file_of_501_lines_is_found_and_one_of_500_is_not(self):
        self.write("src/a.cpp", "\n" * 500)
        self.write("src/b.cpp", "\n" * 501)
        self.assertEqual(self.places(rules.file_length), [("src/b.cpp", 501)])

    def test_a_function_of_71_lines_is_found_and_one_of_70_is_not(self):
        self.write("src/a.cpp", "void good() {\n" + "f();\n" * 68 + "}\n")
        self.write("src/b.cpp", "\nvoid bad()\n{\n" + "f();\n" * 68 + "}\n")
        self.assertEqual(self.places(rules.function_length), [("src/b.cpp", 2)])

    def test_a_long_function_of_a_script_is_found(self):
        self.write("tests/a.py", "def bad():\n" + "    f()\n" * 70)
        self.assertEqual(self.places(rules.function_length), [("tests/a.py", 1)])


class Functions(unittest.TestCase):
    def lines(self, text):
        return [tuple(function) for function in cpp.functions(text)]

    def test_every_form_of_function_is_found(self):
        for text in ("int f() {\n}",
                     "auto f() -> int {\n}",
                     "template <class T = int>\nT f(T x = {}) {\n}",
                     "Foo::Foo() noexcept : a(1), b{2} {\n}",
                     "bool operator==(A a, B b) {\n}",
                     "Foo& operator=(const Foo& other) {\n}",
                     "TEST(Suite, name) {\n}",
                     "extern \"C\" int f() {\n}",
                     "struct point f(struct point p) {\n}",
                     "int f(struct point p) noexcept {\n}",
                     "void f() {\n auto g = [] { if (x) {} };}"):
            with self.subTest(text):
                self.assertEqual(self.lines(text), [(1, text.count("\n") + 1)])

    def test_what_stands_in_namespaces_and_classes_is_found(self):
        text = ("namespace a::b {\nextern \"C\" {\nclass C : public D<int> {\n  public:\n"
                "    int f() const {\n    }\n    int x = 0;\n    void g() override {\n    }\n};\n"
                "}\n}")
        self.assertEqual(self.lines(text), [(5, 6), (8, 9)])

    def test_what_is_no_function_is_not_found(self):
        for text in ("constexpr int kTable[] = {\n1, f(2),\n};",
                     "enum class E : int {\nkA,\nkB = f(1)\n};",
                     "struct S {\n int a;\n};",
                     "struct alignas(8) S {\n int a;\n};",
                     "const std::string kText{\n\"a\"\n};",
                     "int f();\nint g();",
                     "#define F() {\\\n}\n"):
            with self.subTest(text):
                self.assertEqual(self.lines(text), [])

    def test_braces_in_texts_and_comments_do_not_count(self):
        text = "void f() {\n// {\n/* { */ g(\"{\", '{', R\"({)\", 1'000);\n}\nvoid g() {\n}"
        self.assertEqual(self.lines(text), [(1, 4), (5, 6)])


class Calls(RuleTest):
    def test_each_unbounded_copy_is_found(self):
        for name in sorted(rules.UNBOUNDED_COPIES):
            with self.subTest(name):
                self.write("tools/a.cpp", f"void f() {{\n    std::{name}(a, b);\n}}\n")
                self.assertEqual(self.places(rules.unbounded_copy), [("tools/a.cpp", 2)])

    def test_an_unbounded_copy_in_a_macro_or_by_its_address_is_found(self):
        self.write("src/a.cpp", "#define COPY(a, b) \\\n    strcpy(a, b)\nauto* copy = &strcat;\n")
        self.assertEqual(self.places(rules.unbounded_copy), [("src/a.cpp", 2), ("src/a.cpp", 3)])

    def test_what_only_looks_like_an_unbounded_copy_is_not_found(self):
        self.write("src/a.cpp", "// strcpy(a, b)\nauto a = \"gets\";\nsnprintf(a, 1, \"\");\n")
        self.assertEqual(self.places(rules.unbounded_copy), [])

    def test_a_format_that_is_not_a_literal_is_found(self):
        for call in ("printf(text)", "return std::printf(text);", "if (a) ::fprintf(stderr, text)",
                     "snprintf(a, sizeof(a, b), text.c_str(), 1)", "Output_print(f(\"%s\"), a)",
                     "sscanf(a, pattern, b)", "dprintf(1, yes ? \"a\" : \"b\")"):
            with self.subTest(call):
                self.write("src/a.cpp", f"\n{call}\n")
                self.assertEqual(self.places(rules.literal_format), [("src/a.cpp", 2)])

    def test_a_literal_format_a_declaration_and_a_wrapper_are_not_found(self):
        self.write("src/a.cpp", 'printf("%s"\n "\\n", a); fprintf(stderr, "%" PRIu64 "\\n", b);\n'
                                "void Output_print(const char* format, ...);\n"
                                "char* printf(const char* format, ...);\n"
                                "__attribute__((format(printf, 1, 2)));\n")
        self.write(rules.FORMAT_WRAPPERS[0], "vasprintf(&a, format, arguments);\n")
        self.assertEqual(self.places(rules.literal_format), [])


class Places(RuleTest):
    def test_a_source_that_is_not_named_is_found(self):
        self.write("docs/architecture.md", "`src/main.cpp`, `src/`, `src/console/`, tools/x/a.cpp")
        for path in ("src/main.cpp", "src/b.cpp", "src/console/a.hpp", "src/console/deep/a.hpp",
                     "tests/unit/a.cpp", "tools/x/a.cpp"):
            self.write(path, "")
        # "src/" holds only what stands in it directly.
        self.assertEqual(self.places(rules.placement),
                         [("src/console/deep/a.hpp", 1), ("tools/x/a.cpp", 1)])

    def test_without_the_document_every_source_is_found(self):
        self.write("src/main.cpp", "")
        self.assertEqual(self.places(rules.placement), [("src/main.cpp", 1)])


class Includes(RuleTest):
    def test_two_files_that_include_each_other_are_found(self):
        self.write("src/x/a.hpp", '#pragma once\n#include "x/b.hpp"\n')
        self.write("src/x/b.hpp", '#include "a.hpp"\n')
        self.assertEqual(self.places(rules.include_cycle), [("src/x/b.hpp", 1)])

    def test_a_circle_around_a_corner_is_found(self):
        self.write("src/a.hpp", '#include "b.hpp"\n')
        self.write("src/b.hpp", '#include "c.hpp"\n')
        self.write("src/c.hpp", '\n#include "a.hpp"\n')
        self.assertEqual(self.places(rules.include_cycle), [("src/c.hpp", 2)])

    def test_two_roads_to_one_header_are_no_circle(self):
        self.write("src/a.cpp", '#include "b.hpp"\n#include "c.hpp"\n#include <string>\n')
        self.write("src/b.hpp", '#include "c.hpp"\n')
        self.write("src/c.hpp", "")
        self.assertEqual(self.places(rules.include_cycle), [])

    def test_each_wrong_direction_is_found(self):
        for of, to in (("src/console/a.cpp", "src/netif/x.hpp"),
                       ("src/console/a.cpp", "src/protocol/x.hpp"),
                       ("src/protocol/a.cpp", "src/firmware/x.hpp"),
                       ("src/firmware/a.cpp", "src/kit/x.hpp"),
                       ("src/kit/a.cpp", "src/commands/x.hpp"),
                       ("src/commands/a.cpp", "src/dispatch/x.hpp"),
                       ("src/base/a.cpp", "src/base64.hpp"),
                       ("src/base/a.cpp", "src/netif/x.hpp"),
                       ("src/main.cpp", "tools/x.hpp"),
                       ("src/main.cpp", "lib/frontend/x.hpp"),
                       ("lib/frontend/a.cpp", "src/base/x.hpp"),
                       ("lib/frontend/a.cpp", "lib/catalogue/x.hpp"),
                       ("lib/base/a.cpp", "lib/client/x.hpp"),
                       ("bench/a.cpp", "tools/x.hpp"),
                       ("tools/avoipctl/a.cpp", "src/protocol/x.hpp")):
            with self.subTest(f"{of} includes {to}"), tempfile.TemporaryDirectory() as self.root:
                self.write(of, f'\n#include "{to.removeprefix("src/")}"\n')
                self.write(to, "")
                self.assertEqual(self.places(rules.include_direction), [(of, 2)])

    def test_ways_down_are_allowed(self):
        for of, to in (("src/main.cpp", "src/base/x.hpp"),
                       ("src/dispatch/a.cpp", "src/commands/x.hpp"),
                       ("src/kit/a.cpp", "src/kit/x.hpp"),
                       ("src/firmware/a.cpp", "lib/image/image.hpp"),
                       ("lib/client/a.cpp", "lib/frontend/x.hpp"),
                       ("tools/avoipctl/a.cpp", "lib/client/x.hpp"),
                       ("tests/unit/a.cpp", "src/kit/x.hpp")):
            with self.subTest(f"{of} includes {to}"), tempfile.TemporaryDirectory() as self.root:
                self.write(of, f'#include "{to.removeprefix("src/")}"\n')
                self.write(to, "")
                self.assertEqual(self.places(rules.include_direction), [])

    def test_a_source_outside_every_room_is_found(self):
        self.write("src/d.hpp", "")
        self.write("lib/new/d.hpp", "")
        self.assertEqual(self.places(rules.include_direction),
                         [("lib/new/d.hpp", 1), ("src/d.hpp", 1)])

    def test_a_declaration_outside_of_its_house_s_namespace_is_found(self):
        self.write("lib/a.hpp", "#pragma once\nstruct Other;\nnamespace avoip {\n}\n")
        self.write("lib/b.hpp", "#pragma once\nstruct Request {};\n")
        self.write("tools/x/a.cpp", "\nnamespace avoip::x {\n}\n")
        self.write("tools/x/b.cpp", "\nnamespace {\n}\nnamespace avoip::x {\n}\n")
        self.write("tools/x/c.hpp", "namespace avoip {\n}\n")
        self.write("tools/x/main.cpp", "int main() {}\n")
        self.write("src/a.hpp", "struct Request {};\n")
        self.assertEqual(self.places(rules.own_namespace),
                         [("lib/b.hpp", 2), ("tools/x/b.cpp", 2), ("tools/x/c.hpp", 1)])


class Dialect(RuleTest):
    def test_a_unit_that_is_a_word_of_a_name_is_found_but_in_constants(self):
        self.write("src/a.hpp", "int timeout_ms;\nint timeoutMs;\nint kTimeoutMs;\nint rowUs_;\n")
        self.assertEqual(self.places(dialect.unit_name), [("src/a.hpp", 2), ("src/a.hpp", 4)])

    def test_the_comment_of_a_local_function_with_two_strokes_is_found(self):
        self.write("src/a.cpp",
                   "namespace {\n\n// Bad.\nint f() {\n}\n\n/// Good.\nint g() {\n}\n\n"
                   "// Why.\nint A::f() {\n}\n\n// Why.\nTEST(a, b) {\n}\n\n}  // namespace\n\n"
                   "// Why.\nint h() {\n}\n")
        self.assertEqual(self.places(dialect.helper_comment), [("src/a.cpp", 3)])


class Headers(RuleTest):
    def findings(self):
        build = os.path.join(self.root, "build")
        os.makedirs(build, exist_ok=True)
        command = f"c++ -std=c++20 -Wall -Werror -I{self.root}/src -o a.o -c {self.root}/src/a.cpp"
        entries = [{"directory": build, "file": f"{self.root}/src/a.cpp", "command": command}]
        with open(os.path.join(build, "compile_commands.json"), "w", encoding="utf-8") as file:
            json.dump(entries, file)
        return [(path, line) for path, line, _ in headers.header_alone(Tree(self.root), build)]

    def test_a_header_that_leans_on_its_includer_is_found(self):
        self.write("src/bad.hpp", "#pragma once\nstd::string text();\n")
        self.write("src/good.hpp", '#pragma once\n#include "other.hpp"\nOther text();\n')
        self.write("src/other.hpp", "#pragma once\nstruct Other {};\n")
        self.assertEqual(self.findings(), [("src/bad.hpp", 1)])

    def test_a_header_is_looked_at_again_when_what_it_includes_has_changed(self):
        self.write("src/user.hpp", '#pragma once\n#include "other.hpp"\nOther text();\n')
        self.write("src/other.hpp", "#pragma once\nstruct Other {};\n")
        self.assertEqual(self.findings(), [])
        self.write("src/other.hpp", "#pragma once\n")
        self.assertEqual(self.findings(), [("src/user.hpp", 1)])

    def test_a_header_for_c_programs_is_compiled_as_c_too(self):
        self.write("lib/frontend/bad.h", "#pragma once\nnamespace a {}\n")
        self.write("lib/frontend/good.h", "#pragma once\nint f(void);\n")
        self.assertEqual(self.findings(), [("lib/frontend/bad.h", 1)])


class Documents(RuleTest):
    def test_a_session_that_no_transcript_has_is_found(self):
        self.write("tests/transcripts/a.txt", "# Two.\n> one!\n= 1\n\n> two!\n= 2\n")
        self.write("docs/commands.md",
                   "```text\n> two!\n= 2\n\n> one!\n= 1\n```\n```text\n> one!\n= 2\n```\n")
        self.assertEqual(self.places(rules.recorded_session), [("docs/commands.md", 9)])

    def test_half_a_session_is_found_and_other_blocks_are_left_alone(self):
        self.write("tests/transcripts/a.txt", "> one!\n| said\n= 1\n")
        self.write("docs/commands.md", "```\n> no!\n```\n\n```text\n> one!\n= 1\n```\n")
        self.assertEqual(self.places(rules.recorded_session), [("docs/commands.md", 6)])

    def test_a_command_that_is_not_described_is_found(self):
        self.write("docs/console.md",
                   "| Console text |\n|---|\n| `one ID!` |\n| `two!` |\n\n| `err!` |\n")
        self.write("docs/commands.md", "| `one ID!` | 3 s |\n")
        self.assertEqual(self.places(rules.described_command), [("docs/console.md", 4)])

    def test_tags_and_entries_of_kept_behaviours_are_compared_both_ways(self):
        self.write("docs/kept-behaviours.md", "# Kept\n\n## slash-n\n\n## one-answer\n")
        self.write("src/a.cpp", "\n// It ends so (kept: slash-n).\n/// kept: no-entry\n")
        self.write("tests/a.cpp", "// kept: one-answer\n")
        self.assertEqual(self.places(rules.kept_behaviour),
                         [("src/a.cpp", 3), ("docs/kept-behaviours.md", 5)])

    def test_a_printed_line_that_is_not_explained_is_found(self):
        self.write("docs/operate.md", "## What the daemon prints\n\n| `open NAME!` | bad |\n"
                   "| `bind: WHY` | bad |\n| `get NAME err!` | bad |\n\n## Other\n`more`\n")
        self.write("src/a.cpp", """void f() {
    Output_print("open %.*s!\\n", 1, "a");
    Output_print("more\\n");
    Output_systemError("bind");
    Output_systemError("socket");
}
constexpr Name kNames[] = {{"id", "get id err!"}, {"id", "id err!"}};
""")
        self.assertEqual(self.places(rules.explained_line),
                         [("src/a.cpp", 3), ("src/a.cpp", 5), ("src/a.cpp", 7)])


if __name__ == "__main__":
    unittest.main()
