#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent on one host, the phone on another, and a cable between them.

Runs inside scripts/private-network-two and scripts/private-desktop; CLIPMULE_BIN says where the
programs are.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
from programs import PATIENCE_SECONDS, Program, clipboard, copy, item_of, until  # noqa: E402

BIN = pathlib.Path(os.environ["CLIPMULE_BIN"])


def has_text(text):
    return lambda event: (item_of(event) or {}).get("string") == text


class TwoHostsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        os.environ["XDG_CONFIG_HOME"] = folder.name
        self.log = open(pathlib.Path(folder.name) / "log", "w", encoding="utf-8")
        self.addCleanup(self.log.close)
        self.phone = self.start("phone", "on", "b", BIN / "clipmule-phone", "--name", "Ännä 📱. 2")
        self.phone.event("listening port", lambda event: event.get("event") == "listening")
        subprocess.run([BIN / "clipmule-preferences", "pair", "Ännä 📱. 2", "--wait", "0"], check=True,
                       timeout=PATIENCE_SECONDS, stdout=subprocess.DEVNULL)
        self.agent = self.start("agent", "on", "a", BIN / "clipmule-sync")
        self.phone.event("list of devices", lambda event: event.get("event") == "devices")

    def start(self, name, *command):
        program = Program(name, [str(part) for part in command], self.log)
        self.addCleanup(program.stop)
        return program

    def test_clips_cross_the_network(self):
        copy("UTF8_STRING", b"over the cable")
        self.phone.event("text", has_text("over the cable"))
        self.phone.tell("text and back")
        until("answer on the clipboard", lambda: clipboard("UTF8_STRING") == b"and back")

    def test_what_is_copied_while_the_cable_is_out_arrives_later(self):
        subprocess.run(["cable", "b", "out"], check=True)
        copy("UTF8_STRING", b"out of reach")
        subprocess.run(["cable", "b", "in"], check=True)
        self.phone.event("text", has_text("out of reach"))

    def test_the_daemon_may_restart(self):
        subprocess.run(["daemon", "a", "stop"], check=True)
        copy("UTF8_STRING", b"without a daemon")
        self.phone.event("text", has_text("without a daemon"))
        subprocess.run(["daemon", "a", "start"], check=True)
        copy("UTF8_STRING", b"with it again")
        self.phone.event("text", has_text("with it again"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
