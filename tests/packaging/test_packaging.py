#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What gets installed, where, and whether the desktop, the login and man understand it.

usage: test_packaging.py BUILD_FOLDER
"""

import configparser
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

sys.dont_write_bytecode = True
PROGRAMS = {"clipmule-sync", "clipmule-preferences", "clipmule-phone", "clipmule-inspect",
            "clipmule-filter"}


def run(*command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          check=False, **options)


class Installation(unittest.TestCase):
    """The installed tree, once for all tests."""

    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp(prefix="packaging.")
        cls.addClassCleanup(shutil.rmtree, cls.root)
        done = run("cmake", "--install", cls.build, "--prefix", "/usr",
                   env={**os.environ, "DESTDIR": cls.root})
        if done.returncode != 0:
            raise AssertionError(done.stderr)

    def only(self, pattern):
        """The one installed file of that pattern; the folders above /usr depend on the machine."""
        found = glob.glob(self.root + "/**/" + pattern, recursive=True)
        self.assertEqual(len(found), 1, f"{pattern}: {found}")
        return found[0]

    def entry(self, path, section):
        parser = configparser.ConfigParser(interpolation=None, strict=False)
        parser.optionxform = str
        parser.read(path, encoding="utf-8")
        return parser[section]

    def assert_accepts(self, *command):
        done = run(*command)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_programs_and_their_resources(self):
        for program in PROGRAMS:
            self.assertTrue(os.access(self.only("bin/" + program), os.X_OK), program)
        self.only("share/clipmule-sync/Info.plist")

    def test_desktop_entries(self):
        for place in ("share/applications", "xdg/autostart"):
            path = self.only(place + "/com.zendrik.ClipmuleSync.desktop")
            self.assert_accepts("desktop-file-validate", path)
            entry = self.entry(path, "Desktop Entry")
            self.only("bin/" + entry["Exec"])
            self.only(f"icons/hicolor/scalable/apps/{entry['Icon']}.svg")

    def test_the_preferences_are_started_by_the_bus(self):
        name = "com.zendrik.ClipmuleSync.Preferences"
        path = self.only(f"share/applications/{name}.desktop")
        self.assert_accepts("desktop-file-validate", path)
        entry = self.entry(path, "Desktop Entry")
        self.assertEqual(entry["DBusActivatable"], "true")
        self.only("bin/" + entry["Exec"])
        service = self.entry(self.only(f"share/dbus-1/services/{name}.service"), "D-BUS Service")
        self.assertEqual(service["Name"], name)
        self.assertTrue(service["Exec"].endswith("/bin/" + entry["Exec"]), service["Exec"])
        self.assertTrue(os.path.isabs(service["Exec"]))

    def test_the_status_interface_is_described(self):
        path = self.only("share/dbus-1/interfaces/com.zendrik.ClipmuleSync.Status.xml")
        self.assertEqual(xml.parse(path).getroot().find("interface").get("name"),
                         "com.zendrik.ClipmuleSync.Status")

    def test_software_centre(self):
        path = self.only("metainfo/com.zendrik.ClipmuleSync.metainfo.xml")
        self.assert_accepts("appstreamcli", "validate", "--no-net", path)
        component = xml.parse(path).getroot()
        self.only("share/applications/" + component.findtext("launchable"))
        self.assertEqual({binary.text for binary in component.iter("binary")}, PROGRAMS)

    def test_login_unit(self):
        path = self.only("systemd/user/clipmule-sync.service")
        service = self.entry(path, "Service")
        self.assertTrue(service["ExecStart"].endswith("/bin/clipmule-sync"), service["ExecStart"])
        self.assertTrue(os.path.isabs(service["ExecStart"]))
        self.assertEqual(service["Restart"], "on-failure")

    def test_icon_is_a_picture(self):
        root = xml.parse(self.only("com.zendrik.ClipmuleSync.svg")).getroot()
        self.assertTrue(root.tag.endswith("}svg"))
        self.assertEqual(root.get("width"), root.get("height"))

    def test_manual_pages_are_well_formed(self):
        for program in PROGRAMS:
            self.assert_accepts("groff", "-man", "-ww", "-z", "-Tutf8", "-K", "utf8",
                                self.only(f"man1/{program}.1"))

    def test_manual_pages_and_help_tell_of_the_same_options(self):
        for program in PROGRAMS:
            with self.subTest(program):
                told = run(self.only("bin/" + program), "--help",
                           env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
                self.assertEqual(told.returncode, 0, told.stderr)
                with open(self.only(f"man1/{program}.1"), encoding="utf-8") as page:
                    documented = options(page.read().replace("\\-", "-"))
                self.assertEqual(options(told.stdout) - {"--help-all"}, documented)


def options(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


if __name__ == "__main__":
    Installation.build = sys.argv.pop(1)
    unittest.main()
