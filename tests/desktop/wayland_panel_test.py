#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the user sees of the programs on a Wayland compositor without an X server.

Runs inside scripts/private-desktop --wayland sway --network; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import agent_test  # noqa: E402
from agent_test import BIN, ROOT  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402
from tray_test import MENU, Host, tray_kind  # noqa: E402

PREFERENCES = "com.zendrik.ClipmuleSync.Preferences"


def windows():
    """The compositor's windows, as it describes them."""
    def walk(node):
        if node.get("app_id"):
            yield node
        for child in node.get("nodes", []) + node.get("floating_nodes", []):
            yield from walk(child)

    done = subprocess.run(["swaymsg", "--raw", "--type", "get_tree"], capture_output=True,
                          timeout=PATIENCE_SECONDS, check=True)
    return list(walk(json.loads(done.stdout)))


def window_of(identifier):
    return next((window for window in windows() if window["app_id"] == identifier), None)


class WaylandDesktopTest(agent_test.AgentTest):
    def start_host(self):
        host = Host(self.start("host", "/usr/bin/python3", ROOT / "tests/desktop/status_notifier_host.py"))
        host.event("up")
        return host


class WaylandTrayTest(WaylandDesktopTest):
    def test_the_item_and_its_menu_are_in_the_host(self):
        host = self.start_host()
        self.start_agent()
        host.event("registered")
        self.connected_phone("Anna")
        until("menu", lambda: host.titles() == MENU)
        self.assertTrue(host.ask("properties")["IconPixmap"])
        self.assertIn("statusnotifier", tray_kind())

    def test_a_host_that_comes_later_and_restarts_gets_the_item(self):
        self.start_agent()
        self.connected_phone("Anna")
        self.assertIn("none", tray_kind())
        for _ in range(2):
            host = self.start_host()
            host.event("registered")
            until("menu", lambda host=host: host.titles() == MENU)
            host.program.stop()

    def test_the_preferences_window_opens(self):
        self.start("preferences", BIN / "clipmule-preferences")
        until("window in front", lambda: (window_of(PREFERENCES) or {}).get("focused"))

    def test_a_click_opens_the_preferences_and_no_menu(self):
        host = self.start_host()
        self.start_agent()
        host.event("registered")
        host.ask("activate", 900, 10)
        self.addCleanup(os.kill, until("window", lambda: window_of(PREFERENCES))["pid"], signal.SIGTERM)
        self.assertEqual([window["app_id"] for window in windows()], [PREFERENCES])

    def test_what_the_agent_starts_chooses_its_own_display(self):
        self.start_agent("--show")
        process = until("window", lambda: window_of(PREFERENCES))["pid"]
        # It outlives the agent, whose output it has.
        self.addCleanup(os.kill, process, signal.SIGTERM)
        environment = pathlib.Path(f"/proc/{process}/environ").read_text(encoding="utf-8", errors="replace")
        self.assertNotIn("QT_QPA_PLATFORM", environment)


class WaylandXWaylandTest(WaylandDesktopTest):
    """Beside an X server, whose clients some of the programs are."""

    def test_a_tray_of_the_x_server_is_not_waited_for(self):
        self.start("trayer", "trayer")
        self.start_agent()
        # The agent would have decided for that tray meanwhile.
        self.assert_receives_nothing(self.connected_phone("Anna"))
        self.assertIn("none", tray_kind())
        self.start_host().event("registered")


if __name__ == "__main__":
    unittest.main(verbosity=2)
