#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""That bash, zsh and fish offer every command and option that a program takes, and no other.

usage: test_completions.py BUILD_FOLDER
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAMS = ("clipmule-sync", "clipmule-preferences", "clipmule-phone", "clipmule-inspect", "clipmule-filter",
            "clipmule-web")
COMMANDS = {"clipmule-preferences": {"discover", "pair", "unpair", "rename", "list", "enable", "disable", "status",
                                     "doctor", "get", "set", "unset"},
            "clipmule-web": {"code", "list", "revoke", "rename", "stop"}}


class Completions(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="completions."))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        # What the programs tell while somebody types comes from these.
        cls.home = cls.folder / "home"
        cls.bin = cls.folder / "bin"
        cls.bin.mkdir()
        for name in PROGRAMS:
            os.symlink(cls.programs / name, cls.bin / name)
        stand_in = cls.folder / "stand-in"
        stand_in.mkdir()
        for name, answers in (
                ("preferences", "list) printf \"Anna's Phone\\tAnna\\nBert\\tBert\\n\" ;;\n"
                                "\"discover --wait 1\") printf 'Clara\\n' ;;\n"),
                ("web", "list) printf \"12345678\\tAnna's Phone\\tnever\\n9abcdef0\\tTablet\\tnever\\n\" ;;\n")):
            teller = stand_in / f"clipmule-{name}"
            teller.write_text(f"#!/bin/sh\ncase \"$*\" in\n{answers}esac\n")
            teller.chmod(0o755)
        cls.environment = {"PATH": f"{stand_in}:{cls.bin}:{os.environ['PATH']}", "HOME": str(cls.home),
                           "QT_QPA_PLATFORM": "offscreen", "LC_ALL": "C.UTF-8", "TERM": "dumb"}
        for name in PROGRAMS:
            done = cls.run_in(ROOT / "packaging/completions.py", cls.programs / name, cls.folder)
            if done.returncode != 0 or done.stderr:
                raise AssertionError(done.stderr)

    @classmethod
    def run_in(cls, *command):
        return subprocess.run(command, capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL,
                              cwd=cls.folder, env=cls.environment)

    def options_of(self, name, *command):
        """What the program takes, found by trying."""
        told = self.run_in(self.bin / name, "--help").stdout
        every = set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", told)) - {"--help", "--version"}
        if command and name == "clipmule-web":
            # It takes all of them, but they are about serving, which a command does not.
            return set()
        if name != "clipmule-preferences":
            return every | {"--help", "--version"}
        if not command:
            return {"--help", "--version"}
        # The value is wrong, so that nothing is done.
        return {option for option in every if "has no option" not in
                self.run_in(self.bin / name, *command, option, "\x01", "\x01", "\x01").stderr}

    def bash(self, *words):
        script = ('source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
                  'eval "$(complete -p "$1" | sed "s/.*-F \\([^ ]*\\) .*/\\1/")"; printf "%s\\n" "${COMPREPLY[@]}"')
        done = self.run_in("bash", "--norc", "-uc", script, "bash", self.folder / "bash" / words[0], *words)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return set(done.stdout.split("\n")) - {""}

    def fish(self, *words):
        line = " ".join(words)
        done = self.run_in("fish", "--no-config", "-c", f"source {self.folder}/fish/{words[0]}.fish; complete -C '{line}'")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return {each.split("\t")[0] for each in done.stdout.splitlines()}

    def zsh(self, name, state="", command="", arguments='print -rl -- "$@"'):
        """What the completion tells zsh's own functions, which know what to do with it."""
        script = (f"_arguments() {{ {arguments}; state=$STATE; words=($COMMAND) }}\n"
                  "_describe() { print -rl -- ${(P)2} }\ncompadd() { print -rl -- ${(P)2} }\n"
                  "autoload -Uz $2\nfpath=($1 $fpath)\nSTATE=$3 COMMAND=$4\n$2\n")
        done = self.run_in("zsh", "-f", "-c", script, "zsh", self.folder / "zsh", "_" + name, state, command)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def zsh_options(self, *arguments):
        return set(re.findall(r"^(?:\(.*\))?(--[a-z-]+)", self.zsh(*arguments), re.MULTILINE))

    def test_options_that_stand_alone(self):
        for name in PROGRAMS:
            with self.subTest(name):
                options = self.options_of(name)
                self.assertEqual(self.bash(name, "--"), options)
                if shutil.which("fish"):
                    self.assertEqual({each for each in self.fish(name, "--") if each.startswith("--")}, options)
                if shutil.which("zsh"):
                    self.assertEqual(self.zsh_options(name), options)

    def test_commands(self):
        for name, commands in COMMANDS.items():
            with self.subTest(name):
                self.assertRegex(self.run_in(self.bin / name, "--help").stdout, r"^Usage: \S+ .*COMMAND")
                offered = {each for each in self.bash(name, "") if not each.startswith("-")}
                self.assertEqual(offered, commands)
                if shutil.which("fish"):
                    self.assertEqual(self.fish(name, ""), commands)
                if shutil.which("zsh"):
                    told = self.zsh(name, "command")
                    self.assertEqual(set(re.findall(r"^([a-z]+):", told, re.MULTILINE)), commands)
            for command in commands:
                with self.subTest(f"{name} {command}"):
                    options = self.options_of(name, command)
                    self.assertEqual(self.bash(name, command, "--"), options)
                    if shutil.which("fish"):
                        self.assertEqual({each for each in self.fish(name, command, "--") if each.startswith("--")},
                                         options)
                    if shutil.which("zsh"):
                        # What it tells for the command; before that, what it tells in front of any.
                        told = self.zsh_options(name, "rest", command)
                        self.assertEqual(told - self.zsh_options(name), options)

    def test_values_that_are_words(self):
        for line, words in (("clipmule-preferences pair X --paste-mode", {"paste", "clipboard", "default"}),
                            ("clipmule-preferences get --domain", {"shared", "agent", "stats"}),
                            ("clipmule-inspect --as", {"plist", "frames", "txt", "archive", "typedstream"}),
                            ("clipmule-web --keep", {"none"})):
            with self.subTest(line):
                self.assertEqual(self.bash(*line.split(), ""), words)
                if shutil.which("fish"):
                    self.assertEqual(self.fish(*line.split(), ""), words)
                if shutil.which("zsh"):
                    told = self.zsh(line.split()[0], "rest", line.split()[1])
                    self.assertIn(words, [set(each.split()) for each in re.findall(r":\(([^)]*)\)", told)])

    def test_folders_and_files(self):
        (self.folder / "place").mkdir(exist_ok=True)
        self.assertEqual(self.bash("clipmule-phone", "--save", "pla"), {"place"})
        self.assertEqual(self.bash("clipmule-inspect", "pla"), {"place"})
        self.assertEqual(self.bash("clipmule-filter", "pla"), set())

    def test_phones_are_those_that_are_there(self):
        paired, browsers = {"Anna's Phone", "Bert"}, {"Anna's Phone", "Tablet"}
        for name, command, phones in (("clipmule-preferences", "unpair", paired),
                                      ("clipmule-preferences", "rename", paired),
                                      ("clipmule-preferences", "pair", {"Clara"}),
                                      ("clipmule-web", "revoke", browsers), ("clipmule-web", "rename", browsers)):
            with self.subTest(f"{name} {command}"):
                self.assertEqual({each.replace("\\", "") for each in self.bash(name, command, "")
                                  if not each.startswith("--")}, phones)
                if shutil.which("fish"):
                    self.assertEqual(self.fish(name, command, ""), phones)
                if shutil.which("zsh"):
                    # It runs what stands in braces behind an operand.
                    told = self.zsh(name, "rest", command,
                                    "for each; do [[ $each != 1:*:{* ]] || eval ${each#*:*:}; done")
                    self.assertEqual(set(told.split("\n")) - {""}, phones)
        name = "clipmule-preferences"
        # Only where a phone stands, and only those that begin so.
        self.assertEqual(self.bash(name, "unpair", "B"), {"Bert"})
        self.assertEqual(self.bash(name, "rename", "Bert", ""), set())


if __name__ == "__main__":
    Completions.programs = pathlib.Path(sys.argv.pop(1)).resolve() / "bin"
    unittest.main()
