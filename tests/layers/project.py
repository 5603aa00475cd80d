# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The files of a source tree and what they include."""

import os
import re
import subprocess

_INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+([<"])([^>"]+)[>"]', re.MULTILINE)
_COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
_GENERATED = {"build", ".git", ".cache", "__pycache__"}


class Project:
    def __init__(self, root):
        self.root = os.path.abspath(root)
        self.files = sorted(self._list())
        self._known = set(self.files)
        self._includes = {}

    def _list(self):
        if os.path.exists(os.path.join(self.root, ".git")):
            # What is not committed yet counts as well, so that it is seen before the commit.
            listing = subprocess.run(
                ["git", "-c", f"safe.directory={self.root}", "-C", self.root, "ls-files", "-z",
                 "--cached", "--others", "--exclude-standard"],
                capture_output=True, check=True).stdout.decode().split("\0")
            return {name for name in listing if name and os.path.isfile(self.path(name))}
        found = set()
        for folder, below, names in os.walk(self.root):
            below[:] = [name for name in below if name not in _GENERATED]
            found.update(os.path.relpath(os.path.join(folder, name), self.root) for name in names)
        return found

    def path(self, name):
        return os.path.join(self.root, name)

    def text(self, name):
        with open(self.path(name), encoding="utf-8", errors="replace") as file:
            return file.read()

    def __contains__(self, name):
        return name in self._known

    def sources(self, *endings):
        return [name for name in self.files if name.endswith(endings or (".h", ".cpp"))]

    def includes(self, name):
        """Pairs of the included name and whether it stands in quotation marks."""
        if name not in self._includes:
            text = _COMMENT.sub(lambda match: "\n" * match[0].count("\n"), self.text(name))
            self._includes[name] = [(path, mark == '"') for mark, path in _INCLUDE.findall(text)]
        return self._includes[name]

    def closure(self, names):
        """The named files and every file of ours that they lead to."""
        reached = set()
        waiting = [name for name in names if name in self]
        while waiting:
            name = waiting.pop()
            if name not in reached:
                reached.add(name)
                waiting += [path for path, _ in self.includes(name) if path in self]
        return reached


def below(name, folders):
    return any(name == folder or name.startswith(folder) and (folder == "" or folder[-1] == "/")
               for folder in folders)
