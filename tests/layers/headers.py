# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Sees that every header compiles alone, and that it may be included twice.

A header that is the first include of a built source has been compiled alone already; the others
are compiled here.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess

CACHE = "compiled-headers.json"
# Built by a preset of their own; where they are not, nothing is known of their flags.
LEFT_OUT = ("bench",)
_GUARD = re.compile(r"^(?:\s*//[^\n]*\n|\s*\n)*#pragma once\n")


def commands(build):
    """The compiler's arguments by source file."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        return {os.path.realpath(os.path.join(entry["directory"], entry["file"])):
                (entry["directory"], entry.get("arguments") or shlex.split(entry["command"]))
                for entry in json.load(file)}


def nearest_source(project, header, compiled):
    """The built source whose flags fit best: of the same name, else one of the same folder, and of
    these one that leads to the header, else any that does."""
    same_name = os.path.splitext(header)[0] + ".cpp"
    if same_name in compiled:
        return same_name
    folder = os.path.dirname(header)
    alike = os.path.splitext(os.path.basename(header))[0]
    beside = sorted((source for source in compiled if os.path.dirname(source) == folder),
                    key=lambda source: (not os.path.basename(source).startswith(alike),
                                        header not in project.closure([source]), source))
    if beside:
        return beside[0]
    return next((source for source in sorted(compiled) if header in project.closure([source])), None)


def without_cache(arguments):
    """The command without the compiler's cache and what is set for it."""
    start = next(index for index, word in enumerate(arguments)
                 if os.path.basename(word) not in ("env", "ccache", "sccache") and "=" not in word)
    return arguments[start:]


def syntax_check(arguments):
    """The arguments without what concerns the output; the compiler without its cache."""
    kept = []
    skip = False
    for argument in arguments[:-1]:
        if skip:
            skip = False
        elif argument in ("-o", "-MF", "-MT", "-MQ"):
            skip = True
        elif argument not in ("-c", "-MD", "-MMD") and not argument.startswith(("-fsanitize", "-O")):
            kept.append(argument)
    return without_cache(kept) + ["-fsyntax-only", "-x", "c++", "-"]


def fingerprint(project, header, arguments):
    state = hashlib.sha256("\0".join(arguments).encode())
    for name in sorted(project.closure([header])):
        state.update(name.encode() + b"\0" + project.text(name).encode())
    return state.hexdigest()


def compile_alone(header, directory, arguments):
    result = subprocess.run(arguments, cwd=directory, input=f'#include "{header}"\n',
                            capture_output=True, text=True, check=False)
    return None if result.returncode == 0 else f"{header}: does not compile alone\n{result.stderr}"


def check(project, build):
    cache_path = os.path.join(build, CACHE)
    try:
        with open(cache_path, encoding="utf-8") as file:
            known_good = set(json.load(file))
    except (OSError, ValueError):
        known_good = set()

    compiled = {os.path.relpath(source, os.path.realpath(project.root)): command
                for source, command in commands(build).items()}
    compiled_first = {project.includes(source)[0][0] for source in compiled
                      if source in project and project.includes(source)}
    versions = {}
    problems = [f'{header}: does not begin with "#pragma once"' for header in project.sources(".h")
                if not _GUARD.match(project.text(header))]
    good = set()
    tasks = {}
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for header in project.sources(".h"):
            if header in compiled_first:
                continue
            folder = header.split("/")[0]
            if folder in LEFT_OUT and not any(source.startswith(f"{folder}/") for source in compiled):
                continue
            source = nearest_source(project, header, compiled)
            if source is None:
                problems.append(f"{header}: no built source includes it or stands beside it")
                continue
            directory, arguments = compiled[source]
            arguments = syntax_check(arguments)
            compiler = arguments[0]
            if compiler not in versions:
                versions[compiler] = subprocess.run([compiler, "--version"], capture_output=True,
                                                    text=True, check=True).stdout
            key = fingerprint(project, header, [versions[compiler], *arguments])
            if key in known_good:
                good.add(key)
            else:
                tasks[pool.submit(compile_alone, header, directory, arguments)] = key
        for task in concurrent.futures.as_completed(tasks):
            if task.result() is None:
                good.add(tasks[task])
            else:
                problems.append(task.result())
    with open(cache_path, "w", encoding="utf-8") as file:
        json.dump(sorted(good), file)
    return sorted(problems)
