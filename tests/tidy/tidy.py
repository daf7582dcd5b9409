"""Reads the source tree and reports what breaks one of its rules.

    tidy.py RULE [--root DIRECTORY] [--build DIRECTORY]

Each finding is printed as file:line, the rule and what is wrong. Exit status: 0 without findings, 1
with them, 2 for wrong usage.
"""

import argparse
import os
import sys

from headers import header_alone
from rules import RULES
from tree import Tree


def main():
    parser = argparse.ArgumentParser(description="Checks one rule over the whole source tree.")
    parser.add_argument("rule", choices=[*RULES, "header_alone"])
    parser.add_argument("--root", default=os.path.join(os.path.dirname(__file__), "..", ".."),
                        help="the top of the tree")
    parser.add_argument("--build", help="a configured build directory (for header_alone)")
    options = parser.parse_args()

    tree = Tree(os.path.abspath(options.root))
    if options.rule == "header_alone":
        if not options.build:
            parser.error("header_alone needs --build")
        findings = header_alone(tree, os.path.abspath(options.build))
    else:
        findings = RULES[options.rule](tree)

    found = False
    for path, line, text in findings:
        print(f"{path}:{line}: {options.rule}: {text}")
        found = True
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
