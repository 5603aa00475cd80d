#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""./run, ./test, .ci/run and bench/run: what they build, and what they say of what is not there."""

import contextlib
import importlib.util
import importlib.machinery
import io
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# Each writes down how it was called.
NOTES = '#!/bin/sh\necho "$(basename "$0")" "$@" >>"$NOTES"\n'


class Entrances(unittest.TestCase):
    def setUp(self):
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="entrances."))
        self.addCleanup(shutil.rmtree, self.root)
        (self.root / "scripts").mkdir()
        for name in ("scripts/install-packages", "scripts/build", "scripts/demo",
                     "scripts/private-desktop", "scripts/serve-page", "scripts/try-programs", "bin/ctest",
                     "build/release/bin/clipmule-sync"):
            path = self.root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(NOTES)
            path.chmod(0o755)
        for name in ("run", "test"):
            shutil.copy(ROOT / name, self.root / name)

    def calls(self, name, *arguments, **environment):
        """What the script called."""
        notes = self.root / "notes"
        notes.unlink(missing_ok=True)
        inherited = {name: value for name, value in os.environ.items()
                     if name not in ("DISPLAY", "WAYLAND_DISPLAY", "CLIPMULE_PRESET")}
        subprocess.run([self.root / name, *arguments], check=True, stderr=subprocess.DEVNULL,
                       env={**inherited, "NOTES": str(notes), **environment,
                            "PATH": f"{self.root}/bin:{os.environ['PATH']}"})
        return notes.read_text().splitlines()

    def test_the_demo_builds_what_it_shows_and_no_test(self):
        for arguments, environment, form in ((["--demo"], {"DISPLAY": ":1"}, ""), ([], {}, ""),
                                             (["--demo", "wayland"], {}, " wayland")):
            self.assertEqual(self.calls("run", *arguments, **environment), [
                "install-packages build run desktop browser",
                "build release clipmule-sync clipmule-preferences clipmule-phone clipmule-web", "demo" + form])

    def test_the_agent_is_built_and_started(self):
        self.assertEqual(self.calls("run", "--", "--verbose", DISPLAY=":1"), [
            "install-packages build run", "build release clipmule-sync clipmule-preferences",
            "clipmule-sync --verbose"])

    def test_the_page_is_served_in_this_session_or_else_in_a_desktop_of_its_own(self):
        bin_folder = f"{self.root}/build/release/bin"
        build = "build release clipmule-sync clipmule-preferences clipmule-web"
        for name in ("DISPLAY", "WAYLAND_DISPLAY"):
            self.assertEqual(self.calls("run", "--page", "--port", "0", **{name: "1"}), [
                "install-packages build run", build, f"serve-page {bin_folder} --port 0"])
        self.assertEqual(self.calls("run", "--page"), [
            "install-packages build run desktop", build,
            f"private-desktop {self.root}/scripts/serve-page {bin_folder}"])

    def test_every_test_is_built_and_run(self):
        calls = self.calls("test", "-R", "net")
        self.assertEqual(calls[:2], ["install-packages build run desktop browser test", "build release"])
        processors = len(os.sched_getaffinity(0))
        self.assertEqual(calls[2], f"ctest --preset release --parallel {3 * processors} -R net")
        # There the tests compute more than they wait.
        self.assertEqual(self.calls("test", CLIPMULE_PRESET="asan")[1:],
                         ["build asan", f"ctest --preset asan --parallel {processors}"])

    def test_other_desktops_are_tried_only_when_that_is_asked_for(self):
        processors = len(os.sched_getaffinity(0))
        self.assertEqual(self.calls("test", "--desktops", "-R", "Kwin"), [
            "install-packages build run desktop browser test desktops", "build release",
            f"ctest --preset release --parallel {3 * processors} --build-config desktops "
            "--label-regex ^desktops$ -R Kwin"])

    def test_real_programs_are_tried_only_when_that_is_asked_for(self):
        self.assertEqual(self.calls("test", "--programs", "Kate", "--no-install"),
                         ["try-programs Kate --no-install"])


# What .ci/run calls, in the form of a program that notes it. The tests say what ctest would.
CONTINUOUS = """#!/bin/sh
echo "$CLIPMULE_PRESET $(basename "$0") $*" >>"$NOTES"
[ "$(basename "$0")" != package ] || { echo "package: skipped: too small"; exit "$PACKAGE"; }
[ "$(basename "$0")" = test ] || exit 0
echo "of the log"
if [ "$*" = --desktops ]; then
    echo "$DESKTOPS"
    [ "${DESKTOPS#100%}" != "$DESKTOPS" ]
else
    echo "100% tests passed, 0 tests failed out of $CLIPMULE_PRESET"
fi
"""


class ContinuousIntegration(unittest.TestCase):
    def run_with(self, desktops="100% tests passed, 0 tests failed out of 4", package=0, seconds=0):
        """What .ci/run calls where the tests on other desktops and scripts/package end so, and so much time has
        gone before; its status, and what it says at the end."""
        root = pathlib.Path(tempfile.mkdtemp(prefix="entrances."))
        self.addCleanup(shutil.rmtree, root)
        for name in ("test", "scripts/install-packages", "scripts/format", "scripts/analyse", "scripts/package"):
            path = root / name
            path.parent.mkdir(exist_ok=True)
            path.write_text(CONTINUOUS)
            path.chmod(0o755)
        (root / ".ci").mkdir()
        shutil.copy(ROOT / ".ci/run", root / ".ci/run")
        environment = {name: value for name, value in os.environ.items() if name != "CLIPMULE_PRESET"}
        done = subprocess.run([root / ".ci/run"], text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              env={**environment, "NOTES": str(root / "notes"), "DESKTOPS": desktops, "PACKAGE": str(package),
                                   "SECONDS": str(seconds)})
        end = done.stdout.rpartition("======== ")[2]
        return (root / "notes").read_text().splitlines(), done.returncode, end.splitlines()

    def test_everything_is_tried(self):
        calls, status, end = self.run_with()
        self.assertEqual(calls, [
            " install-packages build run desktop browser test check mutate", " format --check", "release test ",
            "release test --desktops", "asan test ", " analyse --within 900", " package --here --test"])
        self.assertEqual(status, 0)
        self.assertRegex(end[0], r"^Passed  \(\d+ min\)$")
        self.assertEqual(end[1:], [
            "--- tests, asan", "100% tests passed, 0 tests failed out of asan",
            "--- tests, desktops", "100% tests passed, 0 tests failed out of 4",
            "--- tests, release", "100% tests passed, 0 tests failed out of release"])

    def test_a_failure_on_other_desktops_ends_it(self):
        summary = "75% tests passed, 1 tests failed out of 4"
        calls, status, end = self.run_with(summary)
        self.assertEqual(calls[-1], "release test --desktops")
        self.assertEqual(status, 1)
        self.assertEqual(end, ["FAILED: Tests on other desktops (exit status 1)", "--- tests, desktops", summary,
                               "--- tests, release", "100% tests passed, 0 tests failed out of release"])

    def test_analysis_takes_the_time_that_is_left(self):
        def given(seconds):
            calls, _, _ = self.run_with(seconds=seconds)
            return next(int(call.rpartition(" ")[2]) for call in calls if call.startswith(" analyse --within "))
        self.assertEqual(given(3200), 900)
        # Some seconds go by meanwhile.
        self.assertTrue(400 < given(4600) <= 500)
        self.assertEqual((given(4820), given(9000)), (300, 300))

    def test_packages_that_cannot_be_tried_are_said(self):
        calls, status, end = self.run_with(package=77)
        self.assertEqual((calls[-1], status), (" package --here --test", 0))
        self.assertEqual(end[1], "--- packages, skipped: too small")

    def test_packages_that_no_time_is_left_for_are_said(self):
        calls, status, end = self.run_with(seconds=4520)
        self.assertEqual((calls[-1].rpartition(" ")[0], status), (" analyse --within", 0))
        self.assertEqual(end[1], "--- packages, skipped: only 9 min are left, and they take longer")
        # What timeout ends with when it has stopped them, or had to kill them.
        for stopped in (124, 137):
            calls, status, end = self.run_with(package=stopped, seconds=4300)
            self.assertEqual((calls[-1], status), (" package --here --test", 0))
            self.assertEqual(end[1], "--- packages, skipped: not done after 13 min, which is all that was left")

    def test_packages_that_fail_end_it(self):
        calls, status, end = self.run_with(package=3)
        self.assertEqual((calls[-1], status), (" package --here --test", 3))
        self.assertEqual(end[0], "FAILED: Packages (exit status 3)")

    def test_what_was_skipped_is_said(self):
        summary = ["100% tests passed, 0 tests failed out of 4", "", "The following tests did not run:",
                   "\t178 - agent_Gnome (Skipped)", "\t180 - agent_Kwin (Skipped)"]
        _, status, end = self.run_with("\n".join(summary))
        self.assertEqual(status, 0)
        self.assertRegex(end[0], r"^Passed; skipped tests: 2  \(\d+ min\)$")
        self.assertEqual([line for line in end if line in summary], summary)


def load(name, path):
    """A script as a module."""
    loader = importlib.machinery.SourceFileLoader(name, str(ROOT / path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(name, loader))
    loader.exec_module(module)
    return module


class DemoWithoutBrowser(unittest.TestCase):
    def setUp(self):
        self.enterContext(unittest.mock.patch.object(sys, "path", [str(ROOT / "scripts"), *sys.path]))
        self.demo = load("demo", "scripts/demo")

    def enterContext(self, manager):
        value = manager.__enter__()
        self.addCleanup(manager.__exit__, None, None, None)
        return value

    def said_with(self, browsers):
        """What the scene of the page says; it would fail at whatever it did with these."""
        scene = self.demo.Demo.__new__(self.demo.Demo)
        with unittest.mock.patch.dict(sys.modules, {"browsers": browsers}), \
                contextlib.redirect_stdout(io.StringIO()) as said:
            scene.run_page(None, None)
        return said.getvalue().splitlines()[-1]

    def test_the_scene_of_the_page_says_what_is_missing(self):
        lacking = type("Browsers", (), {"missing": staticmethod(lambda: ["/usr/bin/a", "/usr/bin/b"])})
        self.assertEqual(self.said_with(lacking), "  skipped    for lack of /usr/bin/a, /usr/bin/b; "
                                                  "scripts/install-packages browser installs it")

    def test_nor_does_it_need_what_drives_a_browser(self):
        self.assertEqual(self.said_with(None), "  skipped    for lack of browsers; "
                                               "scripts/install-packages browser installs it")


class Benchmarks(unittest.TestCase):
    def setUp(self):
        self.bench = load("bench_run", "bench/run")
        self.bench.ROOT = pathlib.Path(tempfile.mkdtemp(prefix="entrances."))
        self.addCleanup(shutil.rmtree, self.bench.ROOT)
        (self.bench.ROOT / "bench").mkdir()
        for name in ("bench_one.cpp", "bench_two.cpp", "Helper.cpp"):
            (self.bench.ROOT / "bench" / name).touch()

    def said(self, built, only):
        with contextlib.redirect_stdout(io.StringIO()) as said:
            self.bench.say_what_is_missing([pathlib.Path(name) for name in built], only)
        return said.getvalue()

    def test_what_is_left_out_is_said(self):
        self.bench.shutil = type("Found", (), {"which": staticmethod(lambda name: name)})
        self.assertEqual(self.said(["bench_one", "bench_two", "bench_idle.py"], None), "")
        self.assertEqual(self.said(["bench_one"], ["bench_one"]), "")
        missing = ("left out, since a library is missing: bench_two\n"
                   "scripts/install-packages build bench installs what is missing\n")
        self.assertEqual(self.said(["bench_one"], None), missing)
        self.assertEqual(self.said([], ["bench_two"]), missing)

    def test_a_missing_valgrind_is_said(self):
        self.bench.shutil = type("Missing", (), {"which": staticmethod(lambda name: None)})
        self.assertEqual(self.said(["bench_one", "bench_two"], None),
                         "no instruction counts, since valgrind is missing\n"
                         "scripts/install-packages build bench installs what is missing\n")


if __name__ == "__main__":
    unittest.main()
