# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Counts in how many places an addition has to be made known: those that are there are the trial.

A backend is known by its folder, a filter by its class. What names either beside its own files is a
place that the next one must be written into as well.
"""

import os
import re

# The source that makes it, the list of sources beside that, and the table of system headers.
MOST_FOR_A_BACKEND = 3
# Its row in the table of filters, the list in the installation, and the translations, which a
# script brings into line.
MOST_FOR_A_FILTER = 3
ROWS = "filters/FilterClasses.cpp"
TRANSLATIONS = "its translations"

_BACKEND = re.compile(r"(platform/\w+/)(backends/\w+/)")
_FILTER = re.compile(r'ZRKClipmuleTextFilter\("(\w+)"')
# Who tries it or tells of it is no place where it has to be made known.
NOT_COUNTED = ("tests/", "bench/", "fuzz/", "docs/", ".git")
TABLE = "tests/layers/table.py"
TEXTS = (".cpp", ".h", ".txt", ".py", ".plist", ".cmake", ".in")


def places(project, word, own):
    """The files that name the word, beside those that begin with what is its own."""
    return [name for name in project.files
            if (name == TABLE or not name.startswith(NOT_COUNTED)) and not name.startswith(own)
            and name.endswith(TEXTS) and word in project.text(name)]


def backends(project):
    folders = {match.groups() for name in project.files if (match := _BACKEND.match(name))}
    for service, backend in sorted(folders):
        known = places(project, service + backend, service + backend)
        listing = f"{service}CMakeLists.txt"
        if listing in project and backend in project.text(listing) and listing not in known:
            known.append(listing)
        if len(known) > MOST_FOR_A_BACKEND:
            yield f"{service}{backend}: known in {len(known)} places: {', '.join(known)}"


def filters(project):
    for source in project.sources(".cpp"):
        if not source.startswith("filters/"):
            continue
        for name in _FILTER.findall(project.text(source)):
            own = () if source == ROWS else os.path.splitext(source)[0] + "."
            known = places(project, name, own) + [TRANSLATIONS]
            if len(known) > MOST_FOR_A_FILTER:
                yield f"{name}: known in {len(known)} places: {', '.join(known)}"


def check(project):
    return list(backends(project)) + list(filters(project))
