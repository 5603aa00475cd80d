# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the agent has to do under every Wayland compositor, beside independent programs.

The compositors' own tests say how one copies, reads and looks at the windows there.
"""

import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree

sys.dont_write_bytecode = True
import agent_test
import programs
import tray_test
from agent_test import BIN, ROOT
from programs import PATIENCE_SECONDS, item_of, until

TEXT = "text/plain;charset=utf-8"


def version_in(text):
    """The first one in what a compositor says of itself, as numbers that can be compared."""
    return tuple(int(part) for part in re.search(r"\d+(\.\d+)+", text).group().split("."))


class MainJob(agent_test.AgentTest):
    # What doctor says of the clipboard and of pasting.
    clipboard_words = None
    pasting_words = None
    # Whether it tells which window is in front.
    knows_windows = True
    # Of what platform/wayland/protocols describes, what this compositor does not announce.
    not_announced = frozenset()
    # And what it announces in an older version than that.
    older = {}

    def copy(self, kind, data):
        programs.copy(kind, data)

    def clipboard(self, kind):
        return programs.clipboard(kind)

    def windows(self):
        """What tells the compositor's windows, and the one with the focus, from others."""
        raise NotImplementedError

    def setUp(self):
        super().setUp()
        self.start_agent()
        self.phone = self.start_phone("Anna")
        self.preferences("pair", "Anna", "--wait", "0")
        self.wait_until_opened(self.phone)

    def open_window(self, name, *command, **variables):
        """A program that writes "ready" when it has the focus."""
        before = dict(os.environ)
        os.environ.update(variables)
        window = self.start(name, *command)
        os.environ.clear()
        os.environ.update(before)
        window.wait_for("focus", lambda line: line == "ready")
        return window

    def open_gtk_window(self):
        return self.open_window("GTK window", ROOT / "scripts" / "demo-window")

    def open_toolkit_window(self, platform):
        return self.open_window("toolkit's window", BIN.parent / "tests" / "clipmule_qt_client",
                                QT_QPA_PLATFORM=platform)

    def wait_for_text(self, window, text):
        # One of them writes JSON, the other hexadecimal digits.
        shown = (json.dumps(text)[1:-1], text.encode().hex())
        window.wait_for(text, lambda line: line.startswith("text ") and any(form in line for form in shown))

    def wait_for_clip(self, string):
        self.phone.event("text clip", lambda event: (item_of(event) or {}).get("string") == string)

    def paste_from_phone(self, window, text):
        self.phone.tell("text " + text)
        self.wait_for_text(window, text)

    def make_picture(self, size):
        """Bytes that no picture is made of again: they are passed on as they are."""
        path = self.folder / f"{size}.png"
        subprocess.run(["convert", "-size", f"{size}x{size}", "-depth", "8", "xc:", "+noise", "Random", str(path)],
                       check=True)
        return path

    def test_both_ways(self):
        window = self.open_gtk_window()
        there = self.windows()
        self.copy(TEXT, "from the desk: 3 € 🐴".encode())
        self.wait_for_clip("from the desk: 3 € 🐴")
        self.paste_from_phone(window, "from the phone: Grüße")
        self.assertEqual(self.clipboard(TEXT).decode(), "from the phone: Grüße")

        picture = self.make_picture(100)
        self.copy("image/png", picture.read_bytes())
        got = self.phone.event("image clip", lambda event: (item_of(event) or {}).get("imageData"))
        self.assertEqual((got["width"], got["height"]), (100, 100))
        self.copy("text/plain", b"in between")
        self.wait_for_clip("in between")
        self.phone.tell(f"image {picture}")
        window.wait_for("pasted picture", lambda line: line == "image 100x100")
        self.assertEqual(self.clipboard("image/png"), picture.read_bytes())
        # No window of ours was there, and none took the focus.
        self.assertEqual(self.windows(), there)

    def test_files_are_for_who_comes_to_the_front(self):
        window = self.open_gtk_window()
        self.phone.tell(f"image {self.make_picture(100)}")
        window.wait_for("pasted picture", lambda line: line == "image 100x100")
        if self.knows_windows:
            self.assertEqual(self.clipboard("text/uri-list"), b"")
        # This toolkit names its windows by the program's file.
        (self.folder / "thunar").symlink_to(ROOT / "scripts" / "demo-window")
        self.open_window("file manager", self.folder / "thunar")
        until("list of files", lambda: self.clipboard("text/uri-list").startswith(b"file:///"))

    def test_the_toolkits_windows(self):
        self.paste_from_phone(self.open_toolkit_window("wayland"), "into its own window")

    def test_windows_of_the_x_server(self):
        if not os.environ.get("DISPLAY"):
            self.skipTest("a desktop without an X server")
        self.paste_from_phone(self.open_toolkit_window("xcb"), "into an X11 window")

    def test_of_a_burst_the_last_arrives(self):
        for number in range(200):
            self.copy("text/plain", f"copy {number}".encode())
        self.wait_for_clip("copy 199")

    def numbers_in(self, window, last):
        """All that were pasted when this one was."""
        shown = window.wait_for(f"number {last}", lambda line: line.endswith(f'{last};"') and json.loads(line[5:]))
        return [int(number) for number in shown.split(";")[:-1]]

    def test_many_clips_are_pasted_once_each(self):
        window = self.open_gtk_window()
        for number in range(50):
            self.phone.tell(f"text {number};")
            self.assertEqual(self.numbers_in(window, number), list(range(number + 1)))

    def test_of_a_burst_from_the_phone_the_last_is_pasted(self):
        window = self.open_gtk_window()
        for number in range(200):
            self.phone.tell(f"text {number};")
        pasted = self.numbers_in(window, 199)
        # Most are passed over, and nothing comes after what is newer.
        self.assertEqual(pasted, sorted(pasted))
        self.assertEqual(self.clipboard(TEXT), b"199;")

    def test_a_large_picture_comes_whole(self):
        path = self.make_picture(1790)
        data = path.read_bytes()
        self.assertGreater(len(data), 9_000_000)
        self.assertLess(len(data), 9_900_000)
        self.copy("image/png", data)
        got = self.phone.event("image clip", lambda event: (item_of(event) or {}).get("imageData"))
        # So large a one becomes a JPEG on its way to the phone, and is made smaller.
        self.assertEqual((got["format"], got["width"], got["height"]), ("jpeg", 1600, 1600))
        self.copy("text/plain", b"in between")
        self.wait_for_clip("in between")
        self.phone.tell(f"image {path}")
        until("picture on the clipboard", lambda: self.clipboard("image/png") == data)

    def test_an_owner_that_hangs(self):
        window = self.open_toolkit_window("wayland")
        self.paste_from_phone(window, "a key for the window, which may copy then")
        window.tell("copy-and-hang")
        window.wait_for("request", lambda line: line == "asked")
        self.copy(TEXT, b"after one that never answers")
        self.wait_for_clip("after one that never answers")

    def test_the_protocols_are_described_as_they_are(self):
        described = {}
        for path in (ROOT / "platform" / "wayland" / "protocols").glob("*.xml"):
            tree = xml.etree.ElementTree.parse(path)
            # What others make, or speak of.
            made = {argument.get("interface") for argument in tree.iter("arg")}
            described |= {interface.get("name"): int(interface.get("version"))
                          for interface in tree.iter("interface") if interface.get("name") not in made}
        done = subprocess.run(["wayland-info"], capture_output=True, text=True,
                              timeout=PATIENCE_SECONDS, check=True)
        announced = {name: int(version) for name, version in re.findall(
            r"^interface: '(\w+)', +version: +(\d+)", done.stdout, re.MULTILINE)}
        self.assertEqual(described.keys() - announced.keys(), self.not_announced)
        for name in described.keys() & announced.keys():
            self.assertGreaterEqual(announced[name], self.older.get(name, described[name]), name)

    @staticmethod
    def doctor():
        return subprocess.run([BIN / "clipmule-preferences", "doctor"], capture_output=True, text=True,
                              timeout=PATIENCE_SECONDS, check=False).stdout

    def test_a_message_takes_no_focus(self):
        window = self.open_gtk_window()
        self.copy(TEXT, b"x" * tray_test.MORE_THAN_IS_SENT)
        until("message", lambda: self.logged("too large"))
        self.paste_from_phone(window, "while a message is shown")

    def test_the_item_and_its_menu(self):
        host = tray_test.Host(self.start("host", "/usr/bin/python3", ROOT / "tests/desktop/status_notifier_host.py"))
        host.event("up")
        host.event("registered")
        until("menu", lambda: host.titles() == tray_test.MENU)
        self.assertTrue(host.ask("properties")["IconPixmap"])

    def test_what_is_said_is_true(self):
        words = self.doctor()
        self.assertIn(f"{self.clipboard_words}: reading yes, writing yes", words)
        self.assertRegex(words, rf"pasting +{self.pasting_words}\n")
        self.assertNotIn("has no clipboard", words)
