# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Finds test sources that are not built, and test programs that ctest does not run."""

import json
import os
import subprocess

import headers


def test_sources(project):
    return [name for name in project.sources(".cpp") if name.startswith(("tests/", "fuzz/"))]


def programs_run(build):
    """Names of all tests, and of the programs in their commands."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"],
                             capture_output=True, text=True, check=True).stdout
    # A program that is yet to be built leaves its test without a command.
    return {os.path.basename(word) for test in json.loads(listing)["tests"]
            for word in [test["name"], *test.get("command", [])]}


def check(project, build, programs=None):
    root = os.path.realpath(project.root)
    compiled = {os.path.relpath(source, root) for source in headers.commands(build)}
    programs = programs if programs is not None else programs_run(build)
    problems = []
    for name in test_sources(project):
        program = os.path.splitext(os.path.basename(name))[0]
        if name not in compiled:
            problems.append(f"{name}: is not built")
        elif program.startswith("tst_") and program not in programs:
            problems.append(f"{name}: is built, but ctest does not run {program}")
    return problems
