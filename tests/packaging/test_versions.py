#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""That the version stands everywhere as CMakeLists.txt has it, that Debian's packages are built with what
scripts/packages.txt lists, and that scripts/release refuses what is not ready."""

import email.utils
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
METAINFO = "packaging/com.zendrik.ClipmuleSync.metainfo.xml"
FILES = ("CMakeLists.txt", "CHANGELOG.md", "debian/changelog", METAINFO, "scripts/release")


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def relations(field):
    """The names in a list of packages, without versions, architectures, profiles and remarks."""
    text = "\n".join(line for line in field.splitlines() if not line.startswith("#"))
    return {re.match(r"[a-z0-9.+-]+", each.strip())[0] for each in text.split(",") if each.strip()}


class Versions(unittest.TestCase):
    def test_every_list_of_versions_has_the_same(self):
        heads = re.findall(r"^## (\S+) - (\S+)$", read("CHANGELOG.md"), re.MULTILINE)
        self.assertEqual(heads[0][0], re.search(r"^project\(.* VERSION (\S+)", read("CMakeLists.txt"), re.MULTILINE)[1])
        self.assertEqual([(each.get("version"), each.get("date")) for each in
                          xml.parse(ROOT / METAINFO).getroot().iter("release")], heads)
        entries = re.findall(r"^clipmule-sync \((\S+)\).*?^ -- .*?  (.*?)$", read("debian/changelog"),
                             re.MULTILINE | re.DOTALL)
        self.assertEqual([(version, email.utils.parsedate_to_datetime(date).date().isoformat())
                          for version, date in entries], heads)

    def test_the_readme_names_the_package_of_this_version(self):
        named = set(re.findall(r"clipmule-[a-z]+_(\S+?)_amd64\.deb", read("README.md")))
        self.assertEqual(named, {re.search(r"^project\(.* VERSION (\S+)", read("CMakeLists.txt"), re.MULTILINE)[1]})

    def test_debian_builds_with_what_is_listed_to_build(self):
        listed = {line.split()[1] for line in read("scripts/packages.txt").splitlines() if line.startswith("build ")}
        control = read("debian/control")
        needed = relations(re.search(r"^Build-Depends:\n((?:[ #].*\n)+)", control, re.MULTILINE)[1])
        # Every Debian that builds has a compiler; the rest is for the tests of the package.
        self.assertEqual(needed - {"debhelper-compat", "appstream", "desktop-file-utils", "groff-base"},
                         listed - {"g++"})

    def test_debian_depends_on_what_is_listed_to_run(self):
        """What no program is linked against, so that nothing computes it."""
        listed = {line.split()[1] for line in read("scripts/packages.txt").splitlines() if line.startswith("run ")}
        control = read("debian/control")
        stanzas = control.split("\nPackage: ")[1:]
        named = set()
        for stanza in stanzas:
            for field in re.findall(r"^(?:Depends|Recommends):\n((?:[ #].*\n)+)", stanza, re.MULTILINE):
                named |= relations(re.sub(r"\$\{[^}]*\},?", "", field).replace("|", ","))
        # A session's bus has a name of its own.
        named |= {"dbus"} if "default-dbus-session-bus" in named else set()
        self.assertLessEqual(listed, named)


class Release(unittest.TestCase):
    """In a repository of its own, with a builder of packages that only notes that it was called."""

    def setUp(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="release."))
        self.addCleanup(shutil.rmtree, folder)
        self.root, self.notes = folder / "tree", folder / "notes"
        for name in FILES:
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        package = self.root / "scripts/package"
        package.write_text('#!/bin/sh\necho "$@" >>"$NOTES"\ngit tag --list >>"$NOTES"\n')
        package.chmod(0o755)
        self.git("init", "--quiet")
        self.commit()

    def git(self, *arguments):
        return subprocess.run(["git", "-c", "user.name=A", "-c", "user.email=a@example.org", *arguments],
                              cwd=self.root, check=True, capture_output=True, text=True).stdout

    def commit(self):
        self.git("add", "--all")
        self.git("commit", "--quiet", "--message", "all")

    def release(self, *arguments):
        names = {f"GIT_{who}_{what}": value for who in ("AUTHOR", "COMMITTER")
                 for what, value in (("NAME", "A"), ("EMAIL", "a@example.org"))}
        return subprocess.run([self.root / "scripts/release", *arguments], capture_output=True, text=True,
                              check=False, env={**os.environ, **names, "NOTES": str(self.notes)})

    def change(self, name, old, new):
        path = self.root / name
        text = path.read_text(encoding="utf-8")
        self.assertIn(old, text)
        path.write_text(text.replace(old, new), encoding="utf-8")

    def assert_refused(self, reason):
        done = self.release()
        self.assertEqual((done.returncode, done.stderr), (1, f"release: {reason}\n"))
        self.assertFalse(self.notes.exists())

    def version(self):
        return re.search(r" VERSION (\S+)", read("CMakeLists.txt"))[1]

    def test_packages_are_built_and_tested_and_then_tagged(self):
        done = self.release()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        # No tag yet while it builds.
        self.assertEqual(self.notes.read_text(), "--check-reproducible --test\n")
        tag = f"v{self.version()}"
        self.assertEqual(self.git("tag", "--list").split(), [tag])
        message = self.git("tag", "--list", "--format=%(contents)", tag)
        self.assertIn(f"Clipmule Sync {self.version()}\n", message)
        self.assertIn("### New", message)
        self.assertNotIn("0.1.0", message)

    def test_a_trial_changes_nothing(self):
        done = self.release("--dry-run")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.git("tag", "--list"), "")
        self.assertFalse(self.notes.exists())

    def test_packages_that_cannot_be_built_are_not_tagged(self):
        (self.root / "scripts/package").write_text("#!/bin/sh\nexit 3\n")
        self.commit()
        self.assertEqual(self.release().returncode, 3)
        self.assertEqual(self.git("tag", "--list"), "")

    def test_changes_that_are_not_committed(self):
        self.change("CHANGELOG.md", "### New", "### Newer")
        self.assert_refused("there are changes that are not committed")

    def test_a_file_that_git_does_not_know(self):
        (self.root / "more").write_text("")
        self.assert_refused("there are changes that are not committed")

    def test_a_version_that_is_tagged(self):
        self.git("tag", f"v{self.version()}")
        self.assert_refused(f"version {self.version()} is tagged already")

    def test_a_version_that_is_not_the_newest_of_a_list(self):
        for name in ("CHANGELOG.md", "debian/changelog", METAINFO):
            with self.subTest(name):
                self.change(name, self.version(), "0.1.9")
                self.commit()
                self.assert_refused(f'the newest version of {name} is "0.1.9", not {self.version()}')
                self.change(name, "0.1.9", self.version())

    def test_a_version_of_which_nothing_is_said(self):
        self.change("CHANGELOG.md", "\n\n", "\n")
        path = self.root / "CHANGELOG.md"
        path.write_text(re.sub(r"(^## .*\n)(?:(?!## ).*\n)*", r"\1", path.read_text(), count=1, flags=re.MULTILINE))
        self.commit()
        self.assert_refused(f"CHANGELOG.md says nothing of {self.version()}")

    def test_what_is_no_version_of_three_numbers(self):
        for version in ("0.2", "0.2.0.1", "00.2.0"):
            with self.subTest(version):
                self.change("CMakeLists.txt", f"VERSION {self.version()} ", f"VERSION {version} ")
                self.commit()
                self.assert_refused(f'CMakeLists.txt has no version of three numbers: "{version}"')
                self.change("CMakeLists.txt", f"VERSION {version} ", f"VERSION {self.version()} ")

    def test_an_unknown_option(self):
        done = self.release("--force")
        self.assertEqual((done.returncode, done.stderr), (2, "usage: scripts/release [--dry-run]\n"))


if __name__ == "__main__":
    unittest.main()
