#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The package list, and the script that installs from it, with a package manager that only notes."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
SCRIPTS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "..", "scripts")
PACKAGES = """# a comment
build compiler   # makes programs
build library    # is linked
run   daemon     # runs
"""


class PackageList(unittest.TestCase):
    def test_every_line_has_a_group_a_package_and_a_reason(self):
        seen = set()
        with open(os.path.join(SCRIPTS, "packages.txt"), encoding="utf-8") as file:
            for line in file:
                if line.startswith("#") or not line.strip():
                    continue
                match = re.fullmatch(r"(build|run|desktop|browser|test|desktops|programs|check|mutate|package|fuzz|bench) +"
                                     r"([a-z0-9][a-z0-9+.-]+) +# \S.*\n", line)
                self.assertTrue(match, line)
                self.assertNotIn(match[2], seen)
                seen.add(match[2])
        self.assertIn("qt6-base-dev", seen)


class InstallPackages(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="install-packages.")
        self.addCleanup(shutil.rmtree, self.folder)
        os.mkdir(os.path.join(self.folder, "bin"))
        shutil.copy(os.path.join(SCRIPTS, "install-packages"), self.folder)
        self.write("packages.txt", PACKAGES)
        for tool in ("awk", "sort", "xargs", "dirname", "realpath", "grep", "bash", "env",
                     "cat", "echo"):
            os.symlink(shutil.which(tool), os.path.join(self.folder, "bin", tool))
        self.write("bin/id", '#!/bin/sh\necho 0\n')
        self.write("bin/apt-get", f'#!/bin/sh\necho "$@" >>{self.folder}/calls\n')
        self.write("bin/sudo", f'#!/bin/sh\necho sudo "$@" >>{self.folder}/calls\n')
        self.installed("compiler installed", "daemon config-files")

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(path, 0o755)

    def installed(self, *lines):
        self.write("bin/dpkg-query", "#!/bin/sh\ncat <<X\n" + "\n".join(lines) + "\nX\nexit 1\n")

    def run_script(self, *arguments):
        self.done = subprocess.run([os.path.join(self.folder, "install-packages"), *arguments],
                                   env={"PATH": os.path.join(self.folder, "bin")}, text=True,
                                   stdin=subprocess.DEVNULL, capture_output=True, check=False)
        return self.done.returncode

    def calls(self):
        try:
            with open(os.path.join(self.folder, "calls"), encoding="utf-8") as file:
                return file.read().splitlines()
        except FileNotFoundError:
            return []

    def test_only_what_is_missing_of_the_asked_groups_is_installed(self):
        self.assertEqual(self.run_script("build"), 0)
        update, install = self.calls()
        self.assertTrue(update.endswith(" update"))
        self.assertTrue(install.endswith(" install -y --no-install-recommends library"))

    def test_a_removed_package_is_missing(self):
        self.assertEqual(self.run_script("--list", "run", "build"), 0)
        self.assertEqual(self.done.stdout, "library\ndaemon\n")
        self.assertEqual(self.calls(), [])

    def test_nothing_missing_asks_for_nothing(self):
        self.installed("compiler installed", "library installed")
        self.write("bin/id", "#!/bin/sh\necho 1000\n")
        self.assertEqual(self.run_script("build"), 0)
        self.assertEqual(self.calls(), [])

    def test_an_ordinary_user_installs_by_sudo_and_is_not_asked_where_nobody_sits(self):
        self.write("bin/id", "#!/bin/sh\necho 1000\n")
        self.assertEqual(self.run_script("build"), 0)
        self.assertTrue(all(call.startswith("sudo -n env ") for call in self.calls()))
        self.assertEqual(len(self.calls()), 2)

    def test_without_root_and_sudo_it_says_what_to_ask_for(self):
        self.write("bin/id", "#!/bin/sh\necho 1000\n")
        os.remove(os.path.join(self.folder, "bin/sudo"))
        self.assertEqual(self.run_script("build"), 1)
        self.assertIn("apt-get install --no-install-recommends library", self.done.stderr)

    def test_a_failed_installation_fails(self):
        self.write("bin/apt-get", "#!/bin/sh\nexit 100\n")
        self.assertEqual(self.run_script("build"), 100)

    def test_another_system_is_told_and_left_alone(self):
        os.remove(os.path.join(self.folder, "bin/dpkg-query"))
        self.assertEqual(self.run_script("build"), 0)
        self.assertIn("compiler library", self.done.stderr)

    def test_wrong_groups(self):
        for arguments in ([], ["nonsense"], ["build", "nonsense"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_script(*arguments), 2)
                self.assertEqual(self.calls(), [])


if __name__ == "__main__":
    unittest.main()
