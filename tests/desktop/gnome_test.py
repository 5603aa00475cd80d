#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent on GNOME, without an X server and with one.

Runs inside scripts/private-desktop --wayland gnome --network; CLIPMULE_BIN says where the programs are.
"""

import configparser
import json
import os
import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import agent_test  # noqa: E402
import main_job  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402
from tray_test import tray_kind  # noqa: E402

KEY_V = 47
KEY_SPACE = 57
KEY_SUPER = 125


class GnomeTest(main_job.MainJob):
    clipboard_words = "mutter"
    pasting_words = "mutter"
    knows_windows = False
    not_announced = frozenset({"ext_data_control_manager_v1", "zwlr_data_control_manager_v1",
                               "zwp_virtual_keyboard_manager_v1", "zwlr_foreign_toplevel_manager_v1",
                               "zwlr_layer_shell_v1", "org_kde_kwin_keystate"})

    def setUp(self):
        # What copies and reads elsewhere needs the focus here.
        self.peer = None
        super().setUp()

    def ask(self, command, answer):
        if not self.peer:
            self.peer = self.start("peer", pathlib.Path(__file__).parent / "gnome_peer.py")
        self.peer.tell(command)
        return self.peer.wait_for(answer, lambda line: line.startswith(answer) and line)

    def copy(self, kind, data):
        path = self.folder / "copied"
        path.write_bytes(data)
        self.ask(f"copy {kind} {path}", "copied")

    def clipboard(self, kind):
        path = self.folder / "read"
        self.ask(f"read {kind} {path}", "read")
        return path.read_bytes()

    def windows(self):
        return json.loads(self.ask("windows", "windows ").partition(" ")[2])

    def test_clips_are_pasted_in_their_order(self):
        window = self.open_gtk_window()
        numbers = [f"{number};" for number in range(8)]
        for number in numbers:
            self.phone.tell(f"text {number}")
        shown = window.wait_for("the last", lambda line: numbers[-1] in line and json.loads(line[5:]))
        self.assertEqual(shown, "".join(numbers))

    def use_layouts(self, sources):
        path = pathlib.Path(os.environ["HOME"], ".config", "glib-2.0", "settings", "keyfile")
        settings = configparser.ConfigParser(delimiters="=", interpolation=None)
        settings.read(path, encoding="utf-8")
        settings["org/gnome/desktop/input-sources"] = {"sources": sources}
        with open(self.folder / "keyfile", "w", encoding="utf-8") as file:
            settings.write(file, space_around_delimiters=False)
        # The folder is watched.
        path.parent.mkdir(parents=True, exist_ok=True)
        os.replace(self.folder / "keyfile", path)

    def types(self, window, key, letter):
        """Whether the key has typed this letter by now. While the layouts change, it may go to nobody."""
        self.ask(f"press {key}", "typed")
        self.ask(f"release {key}", "typed")
        while not window.lines.empty():
            line = window.lines.get() or ""
            if line.startswith("text ") and json.loads(line[5:]).endswith(letter):
                return True
        return False

    def test_the_users_layouts(self):
        window = self.open_gtk_window()

        def paste_when(typed):
            until(f"layout with {typed}", lambda: self.types(window, KEY_V, typed))
            self.paste_from_phone(window, f"pasted with {typed}")

        self.use_layouts("[('xkb', 'us+dvorak')]")
        paste_when("k")
        self.use_layouts("[('xkb', 'gr')]")
        paste_when("ω")
        self.use_layouts("[('xkb', 'us'), ('xkb', 'us+dvorak')]")
        paste_when("v")
        # The user switches to the second.
        for command in (f"press {KEY_SUPER}", f"press {KEY_SPACE}", f"release {KEY_SPACE}", f"release {KEY_SUPER}"):
            self.ask(command, "typed")
        paste_when("k")


    @staticmethod
    def set_extensions(*names):
        # The desktop's own settings, not those of the agent under test.
        environment = {**os.environ, "GSETTINGS_BACKEND": "keyfile",
                       "XDG_CONFIG_HOME": str(pathlib.Path(os.environ["HOME"], ".config"))}
        for key, value in (("disable-user-extensions", "false"), ("enabled-extensions", str(list(names)))):
            subprocess.run(["gsettings", "set", "org.gnome.shell", key, value], check=True, env=environment,
                           timeout=PATIENCE_SECONDS)

    def test_the_icon_needs_an_extension_which_is_said(self):
        self.assertIn("none", tray_kind())
        self.assertIn("Install gnome-shell-extension-appindicator", self.doctor())
        self.addCleanup(self.set_extensions)
        self.set_extensions("ubuntu-appindicators@ubuntu.com")
        until("icon", lambda: "statusnotifier" in tray_kind())
        self.assertNotIn("gnome-shell-extension", self.doctor())
        self.set_extensions()
        until("end of the icon", lambda: "none" in tray_kind())


class GnomeXWaylandTest(GnomeTest):
    """Beside X11 programs, which need no focus here."""

    def copy(self, kind, data):
        # This program hands a large clip to one reader at a time; the compositor's keeper is another.
        if len(data) > 1_000_000:
            super().copy(kind, data)
            return
        subprocess.run(["xclip", "-selection", "clipboard", "-i", "-t", kind], input=data,
                       timeout=PATIENCE_SECONDS, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def clipboard(self, kind):
        done = subprocess.run(["xclip", "-selection", "clipboard", "-o", "-t", kind], capture_output=True,
                              timeout=PATIENCE_SECONDS, check=False)
        return done.stdout


if __name__ == "__main__":
    unittest.main(verbosity=2)
