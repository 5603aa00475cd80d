# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Finds includes that the table does not allow."""

import glob
import os
import re

import table
from project import below


def folder_of(name):
    matching = [folder for folder in table.MAY_INCLUDE if name.startswith(folder)]
    return max(matching, key=len, default=None)


def kind_of(header):
    for kind, (beginnings, _) in table.SYSTEM_HEADERS.items():
        if header.startswith(tuple(beginnings)):
            return kind
    return None


class Widgets:
    """Knows the names of the widget headers by looking where Qt has put them."""

    def __init__(self, folders=None):
        self.folders = folders if folders is not None else glob.glob(
            "/usr/include/*/qt6/QtWidgets") + glob.glob("/usr/include/qt6/QtWidgets")

    def __contains__(self, header):
        return header.startswith("QtWidgets") or any(
            os.path.exists(os.path.join(folder, header)) for folder in self.folders)


def interface_headers(project):
    """Headers seen outside their folder, and where; an internal service is seen by its sisters."""
    seen = {}
    for name in project.sources():
        folder = folder_of(name)
        if folder is None or below(name, table.ANY_SYSTEM_HEADER):
            continue
        for path, _ in project.includes(name):
            if path not in project or folder_of(path) == folder:
                continue
            if folder.startswith("platform/") and below(path, table.INTERNAL_SERVICES):
                continue
            for reached in project.closure([path]):
                seen.setdefault(reached, name)
    return seen


def check(project, widgets=None):
    widgets = widgets if widgets is not None else Widgets()
    interfaces = interface_headers(project)
    problems = []
    for name in project.sources():
        folder = folder_of(name)
        if folder is None:
            problems.append(f"{name}: its folder has no row in tests/layers/table.py")
            continue
        for path, quoted in project.includes(name):
            problems += check_one(project, name, folder, path, quoted, widgets, interfaces)
    return problems


def may_name_backend(name, path):
    """A backend is known to itself, to the source that makes it, and to tests."""
    backend = re.match(r"(platform/\w+/)backends/\w+/", path)
    if backend is None or name.startswith(backend[0]) or below(name, table.ANY_SYSTEM_HEADER):
        return True
    return name.endswith(".cpp") and os.path.dirname(name) + "/" == backend[1]


def check_one(project, name, folder, path, quoted, widgets, interfaces):
    if path in project:
        if not quoted:
            yield f'{name}: write "{path}" in quotation marks'
        if not path.startswith(folder) and not below(path, table.MAY_INCLUDE[folder]):
            yield f"{name}: {folder} may not include {path}"
        elif not may_name_backend(name, path):
            yield f"{name}: {path} is a backend, which {folder_of(path)} alone chooses"
        return
    if quoted:
        if not path.endswith(".moc"):
            yield f'{name}: "{path}" is no file, seen from the root of the sources'
        return
    if path in widgets and not below(name, table.MAY_SHOW_WIDGETS):
        yield f"{name}: <{path}> is a widget, which has no place in {folder}"
    kind = kind_of(path)
    if kind is None or below(name, table.ANY_SYSTEM_HEADER) or \
            path in table.EXCEPTIONS.get(name, []):
        return
    if not below(name, table.SYSTEM_HEADERS[kind][1]):
        yield f"{name}: <{path}> is a {kind} header, which has no place in {folder}"
    elif name in interfaces:
        yield f"{name}: <{path}> is a {kind} header and seen outside, by {interfaces[name]}"
