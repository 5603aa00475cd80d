#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A phone that is a program of the session, where no discovery is to be had, and beside one on the network that
has the same name.

Runs inside scripts/private-desktop; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import agent_test  # noqa: E402
from agent_test import BIN  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402


class LocalPhoneTest(agent_test.AgentTest):
    def start_local_phone(self, name):
        phone = self.start(f"local {name}", BIN / "clipmule-phone", "--local", "--name", name)
        phone.event("listening port", lambda event: event.get("event") == "listening")
        return phone

    def status(self):
        return json.loads(self.preferences("status", "--json"))["phones"]

    def files(self):
        return sorted(os.listdir(pathlib.Path(os.environ["XDG_RUNTIME_DIR"]) / "clipmule-sync/services"))


class AloneTest(LocalPhoneTest):
    """On a network without Avahi's daemon."""

    def test_text_goes_both_ways(self):
        self.start_agent()
        phone = self.start_local_phone("Anna")
        self.assertEqual(self.preferences("discover", "--wait", "1"), "local/Anna")
        self.preferences("pair", "local/Anna")
        self.wait_until_opened(phone)
        self.assert_served(phone, "from the desk")
        phone.tell("text from the phone")
        self.assert_on_clipboard("from the phone")
        [told] = self.status()
        self.assertEqual((told["service"], told["name"], told["state"]), ("local/Anna", "Anna", "connected"))
        self.assertIn("local/Anna\tAnna\tconnected, on this computer", self.preferences("status"))
        # The phone and its port, the agent's announcement, and their locks; nothing is heard on the network.
        self.assertEqual([name.split("-")[0] for name in self.files()], ["locks", "port", "service", "service"])
        listening = subprocess.run(["ss", "-Hltn"], capture_output=True, text=True, check=True).stdout
        self.assertEqual(listening, "")

    def test_a_killed_phone_is_found_again_and_nothing_of_it_stays(self):
        self.preferences("pair", "local/Anna", "--wait", "0")
        self.start_agent()
        phone = self.start_local_phone("Anna")
        self.wait_until_opened(phone)
        before = len(self.files())
        phone.process.kill()
        phone.process.wait()
        until("the phone's end", lambda: self.status()[0]["state"] == "not seen")
        phone = self.start_local_phone("Anna")
        self.wait_until_opened(phone)
        self.assert_served(phone, "welcome back")
        self.assertEqual(len(self.files()), before)

    def test_unpairing_ends_it(self):
        self.start_agent()
        phone = self.start_local_phone("Anna")
        self.preferences("pair", "local/Anna")
        self.wait_until_opened(phone)
        self.preferences("unpair", "local/Anna")
        phone.event("end", lambda event: event.get("event") == "closed")


class NamesakeTest(LocalPhoneTest):
    def test_two_of_one_name_are_told_apart(self):
        self.start_agent()
        near = self.start_local_phone("Anna")
        far = self.start_phone("Anna")
        far.event("publication", lambda event: event.get("event") == "published")
        until("both phones", lambda: sorted(self.preferences("discover", "--wait", "1").splitlines())
              == ["Anna", "local/Anna"])
        self.preferences("pair", "local/Anna")
        self.wait_until_opened(near)
        self.assert_served(near, "for the one on this computer")
        self.assert_receives_nothing(far)
        # Nothing of it is on the network.
        self.assertEqual(self.announced(), [])
        self.preferences("unpair", "local/Anna")
        self.preferences("pair", "Anna")
        self.wait_until_opened(far)
        self.assert_served(far, "for the one on the network")
        self.assert_receives_nothing(near)
        until("the announcement", lambda: len(self.announced()) > 0)

    def test_the_network_cannot_pass_for_this_computer(self):
        self.preferences("pair", "local/Anna", "--wait", "0")
        self.start_agent()
        forger = self.start_raw_phone("local/Anna")
        until("its announcement", lambda: "local" in subprocess.run(
            ["avahi-browse", "-ptk", "_clipmule-s2._tcp"], capture_output=True, text=True,
            timeout=PATIENCE_SECONDS, check=True).stdout)
        self.assertEqual(self.preferences("discover", "--wait", "2"), "")
        self.assertEqual(self.status()[0]["state"], "not seen")
        forger.listener.settimeout(1)
        with self.assertRaises(TimeoutError):
            forger.accept()


if __name__ == "__main__":
    unittest.main(verbosity=2)
