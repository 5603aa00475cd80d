#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""When a start shows the preferences: to who has just installed the program, and to who starts it from a menu and
would see nothing else.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import pathlib
import shutil
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import agent_test  # noqa: E402
from agent_test import BIN  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

PREFERENCES = "com.zendrik.ClipmuleSync.Preferences"
# The agent gives a status area three seconds.
LONGER_THAN_THE_AGENT_WAITS = 4


class FirstStartTest(agent_test.AgentTest):
    def assert_shows_preferences(self):
        until("preferences", lambda: self.owner_of(PREFERENCES))
        subprocess.run(["gdbus", "call", "--session", "--dest", PREFERENCES, "--object-path",
                        "/com/zendrik/ClipmuleSync/Preferences", "--method",
                        "org.freedesktop.Application.ActivateAction", "quit", "[]", "{}"],
                       capture_output=True, check=False)
        until("end of the preferences", lambda: not self.owner_of(PREFERENCES))

    def start_with_phone(self, option):
        self.preferences("pair", "Anna", "--wait", "0")
        self.start_agent(option)
        phone = self.start_phone("Anna")
        self.wait_until_opened(phone)
        return phone

    def assert_shows_nothing(self, phone):
        phone.no_event("a clip", lambda event: event.get("event") == "clip", LONGER_THAN_THE_AGENT_WAITS)
        self.assertFalse(self.owner_of(PREFERENCES))

    def test_the_first_login_shows_the_preferences_and_the_next_one_does_not(self):
        self.start_agent("--login")
        self.assert_shows_preferences()
        self.assertEqual(self.agent.stop(), 0)
        self.start_agent("--login")
        phone = self.start_phone("Anna")
        self.assert_shows_nothing(phone)

    def test_a_start_from_the_menu_without_a_phone(self):
        self.start_agent("--show")
        self.assert_shows_preferences()
        # It runs already; what it starts keeps its output open.
        again = subprocess.run([BIN / "clipmule-sync", "--show"], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(again.returncode, 0)
        self.assert_shows_preferences()

    def test_a_start_from_the_menu_where_no_tray_shows_the_icon(self):
        self.start_with_phone("--show")
        self.assert_shows_preferences()

    @unittest.skipUnless(shutil.which("trayer"), "needs trayer, which newer Debians do not have")
    def test_a_start_from_the_menu_where_the_icon_is_seen(self):
        self.preferences("set", "showStatus", "true")
        self.start("trayer", "trayer", "--edge", "top", "--align", "right")
        self.assert_shows_nothing(self.start_with_phone("--show"))

    def test_a_login_with_a_phone(self):
        self.assert_shows_nothing(self.start_with_phone("--login"))


if __name__ == "__main__":
    unittest.main()
