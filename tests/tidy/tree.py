"""The source tree as the rules see it: which files there are, and who includes whom."""

import os
import re
import subprocess

CPP_SUFFIXES = (".cpp", ".hpp", ".h", ".c")
HEADER_SUFFIXES = (".hpp", ".h")
CODE_SUFFIXES = CPP_SUFFIXES + (".py", ".sh", ".cmake")

# Where an include that is not found beside its file is looked for.
INCLUDE_ROOTS = ("src", "", "tools", "tests")

_INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]', re.MULTILINE)


class Tree:
    """All files below `root`, by their paths from there, with "/" between the parts."""

    def __init__(self, root):
        self.root = root
        self.files = sorted(set(_listed_by_git(root) or _found_by_walking(root)))
        self._known = set(self.files)
        self._texts = {}

    def text(self, path):
        if path not in self._texts:
            with open(os.path.join(self.root, path), encoding="utf-8", errors="replace") as file:
                self._texts[path] = file.read()
        return self._texts[path]

    def with_suffix(self, suffixes):
        return [path for path in self.files if path.endswith(suffixes)]

    def code(self):
        """Every file that people write code in: C++, Python, CMake and shell scripts."""
        return [path for path in self.files if self._is_code(path)]

    def _is_code(self, path):
        name = os.path.basename(path)
        if name.endswith(CODE_SUFFIXES) or name == "CMakeLists.txt":
            return True
        return "." not in name and self.text(path).startswith("#!")

    def includes(self, path):
        """The files of the tree that `path` includes directly, as (line, path) pairs."""
        found = []
        text = self.text(path)
        for match in _INCLUDE.finditer(text):
            target = self._resolve(path, match.group(1))
            if target:
                found.append((text.count("\n", 0, match.start(1)) + 1, target))
        return found

    def _resolve(self, includer, name):
        for folder in (os.path.dirname(includer),) + INCLUDE_ROOTS:
            candidate = os.path.normpath(os.path.join(folder, name))
            if candidate in self._known:
                return candidate
        return None


def _listed_by_git(root):
    """What git tracks or would track; nothing where `root` is not the top of a work tree."""
    if not os.path.exists(os.path.join(root, ".git")):
        return []
    listing = subprocess.run(
        ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
        cwd=root, capture_output=True, text=True, check=False)
    paths = listing.stdout.split("\0") if listing.returncode == 0 else []
    return [path for path in paths if path and os.path.isfile(os.path.join(root, path))]


def _found_by_walking(root):
    for folder, folders, names in os.walk(root):
        folders[:] = [name for name in folders if name not in (".git", ".cache", "build")]
        for name in names:
            yield os.path.relpath(os.path.join(folder, name), root).replace(os.sep, "/")
