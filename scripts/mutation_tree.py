# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A copy of the sources with a build of its own, in which things may be changed and tests run."""

import collections
import contextlib
import json
import os
import shlex
import signal
import subprocess
import time

# What a hanging test and its helpers get between SIGTERM and SIGKILL.
GRACE_SECONDS = 5
# How often the output of a running test is looked at, and what says there that it has failed.
LOOK_SECONDS = 0.5
FAILURE = b"\nFAIL!  : "

PROBE = """#pragma once
#include <fcntl.h>
#include <unistd.h>
inline void mutateTell(const char* where, unsigned long length)
{
    const int file = ::open("%s", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0 || ::write(file, where, length) < 0)
        return;
    ::close(file);
}
#define MUTATE_REACHED(where) \\
    { static bool mutateTold = false; \\
      if (!mutateTold) { mutateTold = true; mutateTell(where, sizeof(where) - 1); } }
"""

Test = collections.namedtuple("Test", "name command environment folder targets skipped timeout")
Outcome = collections.namedtuple("Outcome", "passed hung seconds output")


class BuildFailed(Exception):
    """The output of the compiler."""


def listed(root):
    """Every file of the tree that is ours."""
    names = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others",
                            "--exclude-standard"], capture_output=True, check=True).stdout
    return {name for name in os.fsdecode(names).split("\0")
            if name and os.path.isfile(os.path.join(root, name))}


def read(path):
    with open(path, "rb") as file:
        return file.read()


class Tree:
    def __init__(self, root, copy, preset):
        self.root = root
        self.copy = copy
        self.preset = preset
        self.build_folder = os.path.join(copy, "build", preset)

    def path(self, name):
        return os.path.join(self.copy, name)

    def refresh(self):
        """Makes the copy what the tree is now; what is the same keeps its time."""
        wanted = listed(self.root)
        os.makedirs(self.copy, exist_ok=True)
        if not os.path.isdir(self.path(".git")):
            subprocess.run(["git", "init", "-q", self.copy], check=True)
        for name in listed(self.copy) - wanted:
            os.unlink(self.path(name))
        for name in wanted:
            source = os.path.join(self.root, name)
            content = read(source)
            if not os.path.isfile(self.path(name)) or read(self.path(name)) != content:
                self.write(name, content)
                os.chmod(self.path(name), os.stat(source).st_mode & 0o777)

    def write(self, name, content):
        os.makedirs(os.path.dirname(self.path(name)) or ".", exist_ok=True)
        with open(self.path(name), "wb") as file:
            file.write(content)

    def configure(self):
        self.run_tool("cmake", "--preset", self.preset, folder=self.copy)

    def build(self, *targets, keep_going=False, changed=False):
        """Objects of changed sources are not kept by the compiler's cache: nobody wants them again."""
        environment = {**os.environ, "CCACHE_READONLY": "1"} if changed else None
        self.run_tool("ninja", "-C", self.build_folder, *(["-k0"] if keep_going else []),
                      *(["-j1"] if changed else []), *targets, environment=environment)

    def run_tool(self, *command, folder=None, environment=None):
        done = subprocess.run(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.returncode != 0:
            raise BuildFailed(done.stdout.decode(errors="replace"))
        return done.stdout.decode(errors="replace")

    def commands(self):
        """Compiler command, folder and object by name of the source."""
        with open(os.path.join(self.build_folder, "compile_commands.json"), encoding="utf-8") as file:
            entries = json.load(file)
        copy = os.path.realpath(self.copy)
        return {os.path.relpath(os.path.realpath(entry["file"]), copy):
                (entry["directory"], words, words[words.index("-o") + 1])
                for entry in entries for words in [shlex.split(entry["command"])]}

    def targets(self):
        """Paths of the built programs, as ninja calls them."""
        listing = self.run_tool("ninja", "-C", self.build_folder, "-t", "targets", "all")
        pairs = (line.rpartition(": ") for line in listing.splitlines())
        return {name for name, _, rule in pairs if "_EXECUTABLE_LINKER" in rule}

    def tests(self, every=False):
        """The tests that run a program of the build; with `every` also those that run a script."""
        programs = self.targets()
        # ctest says nothing of a test's command while the program is not there. Ninja builds it for
        # all that, since it has not made the file itself.
        for name in programs:
            program = os.path.join(self.build_folder, name)
            if not os.path.exists(program):
                os.makedirs(os.path.dirname(program), exist_ok=True)
                os.close(os.open(program, os.O_CREAT, 0o755))
        listing = subprocess.run(["ctest", "--test-dir", self.build_folder, "--show-only=json-v1"],
                                 capture_output=True, text=True, check=True).stdout
        products = sorted(name for name in programs if name.startswith("bin/"))
        found = []
        for test in json.loads(listing)["tests"]:
            values = {each["name"]: each["value"] for each in test.get("properties", [])}
            command = test.get("command", [])
            folder = os.path.realpath(self.build_folder)
            own = [os.path.relpath(os.path.realpath(word), folder) for word in command
                   if word.startswith("/")]
            targets = sorted(programs.intersection(own)) or (products if every else [])
            if targets:
                found.append(Test(test["name"], command,
                                  dict(pair.split("=", 1) for pair in values.get("ENVIRONMENT", [])),
                                  values.get("WORKING_DIRECTORY", self.build_folder), targets,
                                  values.get("SKIP_RETURN_CODE"), values.get("TIMEOUT", 120)))
        return found

    def linked(self, target, objects):
        """Which of the objects a program is made of."""
        inputs = self.run_tool("ninja", "-C", self.build_folder, "-t", "inputs", target)
        return objects.intersection(inputs.splitlines())

    def run_test(self, test, seconds):
        """Runs one test, in a process group of its own that ends with it."""
        started = time.monotonic()
        with open(self.path("build/test-output"), "w+b") as output:
            process = subprocess.Popen(test.command, cwd=test.folder,
                                       env={**os.environ, **test.environment},
                                       stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.STDOUT, start_new_session=True)
            # A test that awaits what never comes tells of its first failure long before it ends.
            hung = failed = False
            while process.poll() is None and not failed and not hung:
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(timeout=LOOK_SECONDS)
                failed = FAILURE in read(output.name)
                late = time.monotonic() - started > seconds
                hung = late and not failed and process.poll() is None
            end_group(process)
            text = read(output.name)
        passed = (not hung and FAILURE not in text
                  and process.returncode in (0, test.skipped))
        return Outcome(passed, hung, time.monotonic() - started,
                       text.decode(errors="replace"))


def end_group(process):
    """Ends what is left of a test: asks first, since some have a desktop to clean up."""
    for number in (signal.SIGTERM, signal.SIGKILL):
        with contextlib.suppress(ProcessLookupError, PermissionError):
            os.killpg(process.pid, number)
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(timeout=GRACE_SECONDS)
            return
