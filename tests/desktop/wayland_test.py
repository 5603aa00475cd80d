#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The real agent on a real Wayland compositor without an X server, beside independent programs.

Runs inside scripts/private-desktop --wayland --network; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import agent_test  # noqa: E402
from agent_test import BIN  # noqa: E402
from programs import PATIENCE_SECONDS, item_of, until  # noqa: E402

# Control-V pastes, and what is pasted goes into a file.
TERMINAL = ["foot", "--app-id", "paste.target", "--override", "key-bindings.clipboard-paste=Control+v",
            "sh", "-c", 'stty raw -echo; cat > "$TYPED"']


def copy(kind, data):
    # It stays as the owner, and would keep an output that somebody reads to its end.
    subprocess.run(["wl-copy", "--type", kind], input=data, timeout=PATIENCE_SECONDS, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def clipboard(kind):
    done = subprocess.run(["wl-paste", "--no-newline", "--type", kind], capture_output=True,
                          timeout=PATIENCE_SECONDS, check=False)
    return done.stdout


def windows():
    """The identifiers of the compositor's windows, and that of the one with the focus."""
    def walk(node):
        if node.get("app_id"):
            yield node
        for child in node.get("nodes", []) + node.get("floating_nodes", []):
            yield from walk(child)

    done = subprocess.run(["swaymsg", "--raw", "--type", "get_tree"], capture_output=True,
                          timeout=PATIENCE_SECONDS, check=True)
    found = list(walk(json.loads(done.stdout)))
    return ([node["app_id"] for node in found],
            next((node["app_id"] for node in found if node["focused"]), None))


class WaylandTest(agent_test.AgentTest):
    def setUp(self):
        super().setUp()
        self.start_agent()
        self.phone = self.start_phone("Anna")
        self.preferences("pair", "Anna", "--wait", "0")
        self.wait_until_opened(self.phone)

    def open_terminal(self):
        typed = self.folder / "typed"
        typed.touch()
        os.environ["TYPED"] = str(typed)
        self.start("terminal", *TERMINAL)
        until("terminal in front", lambda: windows()[1] == "paste.target")
        return typed

    def picture(self):
        path = self.folder / "picture.png"
        subprocess.run(["convert", "-size", "640x480", "plasma:", str(path)], check=True)
        return path

    def test_both_ways(self):
        typed = self.open_terminal()
        copy("text/plain;charset=utf-8", "from the desk: 3 € 🐴".encode())
        self.phone.event("text clip", lambda event: (item_of(event) or {}).get("string") ==
                         "from the desk: 3 € 🐴")
        self.phone.tell("text from the phone: Grüße")
        until("pasted text", lambda: typed.read_text(encoding="utf-8") == "from the phone: Grüße")
        self.assertEqual(clipboard("text/plain;charset=utf-8").decode(), "from the phone: Grüße")

        picture = self.picture()
        copy("image/png", picture.read_bytes())
        got = self.phone.event("image clip", lambda event: (item_of(event) or {}).get("imageData"))
        self.assertEqual((got["width"], got["height"]), (640, 480))
        copy("text/plain", b"in between")
        self.phone.event("text clip", lambda event: (item_of(event) or {}).get("string") == "in between")
        self.phone.tell(f"image {picture}")
        until("picture on the clipboard", lambda: clipboard("image/png") == picture.read_bytes())
        # No window of ours was there, and none took the focus.
        self.assertEqual(windows(), (["paste.target"], "paste.target"))

    def test_of_a_burst_the_last_arrives(self):
        for number in range(200):
            copy("text/plain", f"copy {number}".encode())
        self.phone.event("last copy", lambda event: (item_of(event) or {}).get("string") == "copy 199")

    def test_a_large_picture_comes_whole(self):
        # Bytes that no picture is made of again: they are passed on as they are.
        path = self.folder / "large.png"
        subprocess.run(["convert", "-size", "1500x1500", "xc:", "+noise", "Random", str(path)], check=True)
        data = path.read_bytes()
        self.assertGreater(len(data), 5_000_000)
        self.phone.tell(f"image {path}")
        until("picture on the clipboard", lambda: clipboard("image/png") == data)

    def test_what_is_said_is_true(self):
        words = subprocess.run([BIN / "clipmule-preferences", "doctor"], capture_output=True, text=True,
                               timeout=PATIENCE_SECONDS, check=False).stdout
        self.assertIn("wlr-data-control: reading yes, writing yes", words)
        self.assertRegex(words, "pasting +virtual-keyboard\n")
        self.assertNotIn("has no clipboard", words)


class WaylandEndTest(agent_test.AgentTest):
    """The last thing that can be tried in its desktop."""

    def test_the_end_of_the_compositor_ends_the_agent(self):
        self.start_agent()
        subprocess.run(["swaymsg", "exit"], timeout=PATIENCE_SECONDS, check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.assertEqual(self.agent.process.wait(timeout=PATIENCE_SECONDS), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
