# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Finds wording that has no place in the tree, and sources without a licence."""

import os
import re

LONGEST_FILE = 600
SOURCES = (".cpp", ".h", ".js", ".css", ".py", ".cmake", ".in", "CMakeLists.txt")
SPDX = ("SPDX-FileCopyrightText: 2026 The Clipmule Sync developers",
        "SPDX-License-" "Identifier: MIT")

# Split where they would find themselves.
EVERYWHERE = [
    (re.compile(r"\b[Ss]pec" r"ification\b|\bspec" r"\.md\b|\bthe" r" spec\b|\bseed" r" documents?\b"
                r"|\bPart" r" [1-6]\.[0-9]\b"),
     "say what the program does instead of where that was agreed"),
    (re.compile(r"\b[Ii]ssue" r" #?[0-9]+\b"), "issue numbers mean nothing to a reader"),
]
IN_CODE = [
    (re.compile(r"\b(TO" r"DO|FIX" r"ME|HA" r"CK)\b"), "finish it, or write an issue"),
]
IN_TESTS = [
    (re.compile(r"sleep" r"_for|QThread::[mu]?sleep|qSl" r"eep|qWa" r"it\((?!0\))|time\.sl" r"eep"),
     "tests do not wait by the clock: await the event, or drive the manual run loop"),
]

# Which sees to it that warnings fail.
IS_TEST_PROGRAM = re.compile(r"^QTEST_|QTest::qExec\(", re.M)
IS_TEST_CASE = re.compile(r"^class \w+ final : public kit::\w*TestCase\b", re.M)


def is_source(project, name):
    return name.endswith(SOURCES) or project.text(name).startswith("#!")


def is_binary(project, name):
    with open(project.path(name), "rb") as file:
        return b"\0" in file.read(8192)


def check(project):
    problems = []
    for name in project.files:
        if name.endswith(".svg") or is_binary(project, name):
            continue
        text = project.text(name)
        source = is_source(project, name)
        rules = list(EVERYWHERE)
        if source:
            rules += IN_CODE
            if not all(line in "".join(text.splitlines(True)[:4]) for line in SPDX):
                problems.append(f"{name}: the two SPDX lines are missing at its top")
        if source and name.startswith("tests/"):
            rules += IN_TESTS
        if name.endswith((".cpp", ".h", ".js")) and text.count("\n") > LONGEST_FILE:
            problems.append(f"{name}: {text.count(chr(10))} lines; split it, {LONGEST_FILE} is enough")
        if (name.startswith("tests/") and IS_TEST_PROGRAM.search(text)
                and not IS_TEST_CASE.search(text)):
            problems.append(f"{name}: its class is no kit::TestCase")
        for pattern, advice in rules:
            for match in pattern.finditer(text):
                line = text.count("\n", 0, match.start()) + 1
                problems.append(f'{name}:{line}: "{match[0]}": {advice}')
    return problems + list(check_names(project))


def check_names(project):
    for name in project.files:
        base = os.path.basename(name)
        if any(pattern.search(base) for pattern, _ in EVERYWHERE):
            yield f"{name}: the file's name"
