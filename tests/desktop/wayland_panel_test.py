#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the user sees of the programs on a Wayland compositor without an X server.

Runs inside scripts/private-desktop --wayland sway --network; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import agent_test  # noqa: E402
from agent_test import BIN, ROOT  # noqa: E402
from programs import PATIENCE_SECONDS, copy, until  # noqa: E402
from tray_test import MENU, MORE_THAN_IS_SENT, Host, tray_kind  # noqa: E402

# Pixels.
BESIDE_THE_PANEL = 100
ITEMS = 64
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


def swaymsg(*command):
    subprocess.run(["swaymsg", *command], check=True, stdout=subprocess.DEVNULL, timeout=PATIENCE_SECONDS)


def screen():
    """The rows of the screen, top down, without the end of a bar, where its items are."""
    shot = subprocess.run(["grim", "-t", "ppm", "-"], capture_output=True, check=True,
                          timeout=PATIENCE_SECONDS).stdout
    _, width, _, _, pixels = re.match(rb"(P6)\s+(\d+)\s+(\d+)\s+(255)\s(.*)", shot, re.DOTALL).groups()
    length = 3 * int(width)
    return [pixels[at:at + length - 3 * ITEMS] for at in range(0, len(pixels), length)]


def changes(before, now):
    """The rectangle in which two screens differ: x, y, width, height; nothing when they do not."""
    rows = [number for number, (one, other) in enumerate(zip(before, now)) if one != other]
    if not rows:
        return None
    differences = [int.from_bytes(before[row], "little") ^ int.from_bytes(now[row], "little") for row in rows]
    left = min((one & -one).bit_length() - 1 for one in differences) // 24
    right = max(one.bit_length() - 1 for one in differences) // 24
    return left, rows[0], right - left + 1, rows[-1] - rows[0] + 1


def is_enlarged(rows, x, y, width, height):
    """Whether each two rows and columns of that part are the same, counted from the screen's edge."""
    def is_doubled(row):
        pixels = [row[3 * at:3 * at + 3] for at in range(x & ~1, x + width & ~1)]
        return pixels[::2] == pixels[1::2]

    part = range(y & ~1, y + height & ~1, 2)
    return all(rows[row] == rows[row + 1] and is_doubled(rows[row]) for row in part)


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
            self.assertIn("statusnotifier", tray_kind())
            host.program.stop()
            until("word of its end", lambda: "none" in tray_kind())

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


class WaylandPanelTest(WaylandDesktopTest):
    """The message panel, over two windows side by side."""

    def open_window(self, name):
        typed = self.folder / name
        typed.touch()
        # Control-V pastes, and what is pasted goes into a file.
        self.start(name, "foot", "--app-id", name, "--override", "key-bindings.clipboard-paste=Control+v",
                   "sh", "-c", f'stty raw -echo; cat > "{typed}"')
        until(f"{name} window in front", lambda: (window_of(name) or {}).get("focused"))
        return typed

    def start_desktop(self):
        self.start_agent()
        until("item", lambda: "statusnotifier" in tray_kind())
        self.phone = self.connected_phone("Anna")
        self.left = self.open_window("left")
        self.open_window("right")
        swaymsg("[app_id=left]", "focus")
        self.before = until("a screen at rest", lambda: (screen() == screen()) and screen())

    def raise_message(self):
        """The place of what has changed on the screen, once it rests."""
        copy("text/plain;charset=utf-8", b"x" * MORE_THAN_IS_SENT)
        until("message", lambda: changes(self.before, screen()))
        shown = until("message at rest", lambda: (screen() == screen()) and screen())
        return changes(self.before, shown)

    def test_a_message_is_shown_and_goes(self):
        self.start_host()
        self.start_desktop()
        there = windows()
        x, y, width, height = self.raise_message()
        # 226 wide, 100 from the right edge; its rim is transparent.
        self.assertGreaterEqual(x, 1280 - BESIDE_THE_PANEL - 226)
        self.assertLessEqual(x + width, 1280 - BESIDE_THE_PANEL)
        self.assertGreater(width, 200)
        self.assertLess(y, 10)
        self.assertIn(height, range(40, 90))
        # No window came of it, and the focus stayed.
        self.assertEqual(windows(), there)
        until("end of the message", lambda: not changes(self.before, screen()))

    def test_under_it_clips_are_pasted_and_the_pointer_points(self):
        self.start_host()
        self.start_desktop()
        x, y, width, height = self.raise_message()
        self.phone.tell("text under the message")
        until("pasted text", lambda: self.left.read_text(encoding="utf-8") == "under the message")
        self.assertTrue(window_of("left")["focused"])
        swaymsg("seat", "-", "cursor", "set", str(x + width // 2), str(y + height // 2))
        swaymsg("seat", "-", "cursor", "press", "button1")
        swaymsg("seat", "-", "cursor", "release", "button1")
        until("window under the message in front", lambda: window_of("right")["focused"])

    def test_it_is_placed_below_a_bar(self):
        configuration = self.folder / "bar"
        configuration.write_text('{"position": "top", "height": 40, "modules-right": ["tray"]}', encoding="ascii")
        self.start("bar", "waybar", "--config", configuration, "--style", "/dev/null")
        until("status area", lambda: self.owner_of("org.kde.StatusNotifierWatcher"))
        self.start_desktop()
        _, y, _, height = self.raise_message()
        self.assertIn(y, range(40, 50))
        self.assertIn(height, range(40, 90))

    def test_on_a_dense_screen_it_is_as_large_and_finer(self):
        swaymsg("output", "*", "scale", "2")
        self.addCleanup(swaymsg, "output", "*", "scale", "1")
        self.start_host()
        self.start_desktop()
        x, y, width, height = self.raise_message()
        self.assertGreater(width, 400)
        self.assertLessEqual(x + width, 1280 - 200)
        # A picture with one pixel a point would have each of them four times.
        self.assertFalse(is_enlarged(screen(), x, y, width, height))


class WaylandXWaylandTest(WaylandDesktopTest):
    """Beside an X server, whose clients some of the programs are."""

    @unittest.skipUnless(shutil.which("trayer"), "needs trayer, which newer Debians do not have")
    def test_a_tray_of_the_x_server_is_not_waited_for(self):
        self.start("trayer", "trayer")
        self.start_agent()
        # The agent would have decided for that tray meanwhile.
        self.assert_receives_nothing(self.connected_phone("Anna"))
        self.assertIn("none", tray_kind())
        self.start_host().event("registered")


if __name__ == "__main__":
    unittest.main(verbosity=2)
