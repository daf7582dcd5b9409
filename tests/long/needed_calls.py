"""Sees that the confined daemon needs every system call that its list has for this C library and
this processor, and no other.

    needed_calls.py LIST CONFINED_TEST

Runs CONFINED_TEST with the names of the list up to its line "# Elsewhere", when it must pass, and
then without one of them after the other, when it must fail; but for those that are needed "by
chance". Prints the first test that failed without each. Exit status: 0 when the list is right, 1
when it is not, 2 for wrong usage.
"""

import os
import re
import subprocess
import sys
import tempfile


def first_failure(confined_test, names):
    """The first test that fails when the daemon has these calls and no others; None without one."""
    with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
        file.write("\n".join(names) + "\n")
        file.flush()
        result = subprocess.run(
            [confined_test, "--gtest_fail_fast"], stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True, errors="replace", check=False,
            env={**os.environ, "AVOIP_SYSTEM_CALLS": file.name})
    if result.returncode == 0:
        return None
    return re.search(r"\[  FAILED  \] (\S+)", result.stdout).group(1)


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    _, path, confined_test = sys.argv
    with open(path, encoding="utf-8") as file:
        here = file.read().split("\n# Elsewhere\n")[0]
    names = re.findall(r"^\w+", here, re.MULTILINE)

    failure = first_failure(confined_test, names)
    if failure:
        print(f"{failure} fails: it needs a call that stands behind \"Elsewhere\", or nowhere")
        return 1
    unneeded = []
    for name in re.findall(r"^\w+$", here, re.MULTILINE):
        failure = first_failure(confined_test, [other for other in names if other != name])
        print(f"{name}: {failure or 'nothing fails without it'}", flush=True)
        if not failure:
            unneeded.append(name)
    return 1 if unneeded else 0


if __name__ == "__main__":
    sys.exit(main())
