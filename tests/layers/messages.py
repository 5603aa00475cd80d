# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Sees that nobody can forget a type of message: with one more in the list of types, no source that
asks for a message's type compiles until it says what becomes of the new one.
"""

import concurrent.futures
import os
import re
import subprocess
import tempfile

import headers

TYPES = "net/OutputObject.h"
_ENUM = re.compile(r"(enum class Type : int \{.*?)(\n\};)", re.DOTALL)
_ASKS = re.compile(r"MessageEnvelope::type\(")
# What must ask for it at least: the reader of the number, the agent and the stand-in.
FEWEST = 3


def complains(directory, arguments, folder):
    """Whether the compiler names the type that the header in the folder has more."""
    source = arguments[-1]
    command = headers.syntax_check(arguments)[:-3] + [source]
    command.insert(1, f"-I{folder}")
    result = subprocess.run(command, cwd=directory, capture_output=True, text=True, check=False)
    return result.returncode != 0 and re.search("enumeration value .?OneMore.? not handled",
                                                result.stderr)


def check(project, build):
    compiled = headers.commands(build)
    asking = [name for name in project.sources(".cpp")
              if not name.startswith(("tests/", "bench/")) and _ASKS.search(project.text(name))]
    if len(asking) < FEWEST:
        return [f"only {len(asking)} sources ask for the type of a message: {' '.join(asking)}"]
    with tempfile.TemporaryDirectory() as folder:
        header = os.path.join(folder, TYPES)
        os.makedirs(os.path.dirname(header))
        with open(header, "w", encoding="utf-8") as file:
            file.write(_ENUM.sub(r"\1\n    OneMore = 1000,\2", project.text(TYPES)))
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            told = pool.map(lambda name: complains(*compiled[os.path.realpath(project.path(name))],
                                                   folder), asking)
        return [f"{name}: compiles though a type of message is not handled"
                for name, is_told in zip(asking, told) if not is_told]
