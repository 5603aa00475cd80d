#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent's item in real status areas: a tray that embeds its window, and a StatusNotifierItem host.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import threading
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import agent_test  # noqa: E402
from agent_test import BIN, ROOT  # noqa: E402
from programs import PATIENCE_SECONDS, StepFailed, copy, item_of, until  # noqa: E402

MENU = ["Anna", "Disable Clipmule Sync", "Paste What a Phone Sends", "--", "Idle…", "--", "Clipmule Sync Help", "Check for Updates…",
        "Open Clipmule Sync Preferences…"]
# Of the agent's own kind of window.
WINDOW = re.compile(r'\s*(0x[0-9a-f]+) .*?: \("clipmule-sync" "[^"]*"\)\s+'
                    r'(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+)')
MORE_THAN_IS_SENT = 10_000_100
# Of the icon in its tray, pixel by pixel; scripts/screenshots takes them.
PICTURES = ROOT / "tests" / "data" / "pictures"
STATES = ("not-connected", "disabled", "connected", "active")
# Of 1; two of the stored pictures differ by more, what is drawn again by less.
TOLERANCE = 0.06


def run(*command):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True,
                          timeout=PATIENCE_SECONDS, check=False).stdout


def tray_kind():
    return run("gdbus", "call", "--session", "--dest", "com.zendrik.ClipmuleSync",
               "--object-path", "/com/zendrik/ClipmuleSync",
               "--method", "org.freedesktop.DBus.Properties.Get",
               "com.zendrik.ClipmuleSync.Status", "TrayKind")


class Window:
    def __init__(self, match):
        self.id = match[1]
        self.width, self.height, self.x, self.y = (int(part) for part in match.groups()[1:])

    def is_visible(self):
        return "IsViewable" in run("xwininfo", "-id", self.id)


def windows():
    """The agent's visible windows."""
    found = [Window(match) for match in WINDOW.finditer(run("xwininfo", "-root", "-tree"))]
    return [window for window in found if window.width > 10 and window.is_visible()]


def icon():
    return next((window for window in windows() if window.width < 64 and window.height < 64), None)


def resting_icon():
    """The icon, once the tray has done with moving it about."""
    before, now = icon(), icon()
    places = [(one.x, one.y, one.width, one.height) for one in (before, now) if one]
    return now if len(places) == 2 and places[0] == places[1] else None


def menu():
    return next((window for window in windows() if window.width > 150 and window.height > 100), None)


def panel():
    """The message panel: 226 wide, and lower than the menu."""
    return next((window for window in windows() if window.width == 226 and window.height < 200), None)


def placed_panel():
    """The same once it is where it belongs: before it is shown, it is listed in the corner."""
    found = panel()
    return found if found and (found.x, found.y) != (0, 0) else None


def differences(crop):
    """How far that part of the screen is from each stored picture of the icon."""
    shot = ["import", "-window", "root", "-crop", crop, "+repage", "png:-"]
    shown = subprocess.run(shot, capture_output=True, check=True).stdout
    result = {}
    for state in STATES:
        done = subprocess.run(["compare", "-metric", "RMSE", "png:-", str(PICTURES / f"tray-{state}.png"), "null:"],
                              input=shown, capture_output=True, check=False)
        result[state] = float(re.search(rb"\((.*)\)", done.stderr)[1])
    return result


def click(window, button=1):
    run("xdotool", "mousemove", window.x + window.width // 2, window.y + window.height // 2, "click", button)


def key(*names):
    run("xdotool", "key", *names)


class TrayTest(agent_test.AgentTest):
    """With a fake browser in front of the real one."""

    def setUp(self):
        super().setUp()
        self.opened = self.folder / "opened"
        browser = self.folder / "bin" / "xdg-open"
        browser.parent.mkdir()
        browser.write_text(f'#!/bin/sh\necho "$@" >>{self.opened}\n', encoding="ascii")
        browser.chmod(0o755)
        before = os.environ["PATH"]
        os.environ["PATH"] = f"{browser.parent}:{before}"
        self.addCleanup(os.environ.update, {"PATH": before})
        run("xdotool", "mousemove", 600, 600)

    def assert_help_was_opened(self):
        url = until("help in the browser", lambda: self.opened.exists() and
                    self.opened.read_text(encoding="utf-8").strip())
        self.assertRegex(url, r"^file://.*/help/index\.html#help$")
        self.assertTrue(pathlib.Path(url[7:].split("#")[0]).exists())


@unittest.skipUnless(shutil.which("trayer"), "needs trayer, which newer Debians do not have")
class EmbeddedTrayTest(TrayTest):
    def start_tray(self, edge="top"):
        return self.start("trayer", "trayer", "--edge", edge, "--align", "right", "--widthtype", "pixel",
                          "--width", "160", "--height", "26", "--SetDockType", "true", "--SetPartialStrut",
                          "true")

    def open_menu(self):
        click(until("icon", resting_icon))
        return until("menu", menu)

    def choose(self, downs):
        """By the keyboard alone, which is how the entries prove to have the focus."""
        self.open_menu()
        key(*["Down"] * downs, "Return")
        until("end of the menu", lambda: not menu())

    def test_the_menu_hangs_from_the_icon_and_goes_with_escape(self):
        self.start_tray()
        self.start_agent()
        shown = self.open_menu()
        item = icon()
        # Not over the tray's own border.
        self.assertIn(shown.y, (item.y + item.height, item.y + item.height + 1))
        self.assertLessEqual(shown.x + shown.width, 1280)
        key("Escape")
        until("end of the menu", lambda: not menu())
        self.assertTrue(icon())

    def test_a_click_elsewhere_closes_the_menu(self):
        self.start_tray()
        self.start_agent()
        self.open_menu()
        run("xdotool", "mousemove", 300, 600, "click", 1)
        until("end of the menu", lambda: not menu())

    def test_the_other_button_opens_the_same_menu(self):
        self.start_tray()
        self.start_agent()
        click(until("icon", resting_icon), button=3)
        until("menu", menu)
        self.assertEqual(len([one for one in windows() if one.width > 150]), 1)
        key("Escape")

    def test_a_command_opens_the_menu_for_the_keyboard(self):
        self.start_tray()
        self.start_agent()
        phone = self.connected_phone("Anna")
        until("icon", resting_icon)
        done = subprocess.run([BIN / "clipmule-sync", "--menu"], timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(done.returncode, 0)
        self.assertEqual(until("menu", menu).x + menu().width, 1280)
        key("Down", "Return")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")

    def test_at_the_lower_edge_the_menu_stands_above_the_icon(self):
        self.start_tray("bottom")
        self.start_agent()
        shown = self.open_menu()
        self.assertIn(shown.y + shown.height, (icon().y - 1, icon().y))
        key("Escape")

    def test_the_menu_stops_and_starts_the_sync(self):
        self.start_tray()
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.choose(1)
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        self.choose(1)
        self.wait_until_opened(phone)
        self.assert_served(phone, "again")

    def test_help_is_opened_by_the_keyboard(self):
        self.start_tray()
        self.start_agent()
        self.choose(3)
        self.assert_help_was_opened()

    def test_a_tray_that_comes_later_gets_the_icon(self):
        self.start_agent()
        self.connected_phone("Anna")
        self.assertIsNone(icon())
        self.start_tray()
        until("icon", icon)

    def test_a_tray_that_restarts_gets_the_icon_again(self):
        tray = self.start_tray()
        self.start_agent()
        until("icon", icon)
        self.assertIn("xembed", tray_kind())
        tray.stop()
        until("end of the icon", lambda: not icon())
        until("word of its end", lambda: "none" in tray_kind())
        self.start_tray()
        self.open_menu()

    def test_the_icon_follows_the_setting(self):
        self.start_tray()
        self.start_agent()
        until("icon", icon)
        self.preferences("set", "showStatus", "false")
        until("end of the icon", lambda: not icon())
        self.preferences("set", "showStatus", "true")
        until("menu", lambda: self.open_menu())

    def assert_shows(self, state):
        seen = {}

        def is_shown():
            seen.update(differences("26x26+1254+0"))
            return seen[state] < TOLERANCE and min(seen, key=seen.get) == state

        try:
            until(f"picture of “{state}”", is_shown)
        except StepFailed:
            self.fail(f"{state}: {seen}")

    def test_the_icon_looks_like_its_state(self):
        self.start_tray()
        self.start_agent()
        until("icon", resting_icon)
        self.assert_shows("not-connected")
        self.preferences("disable")
        self.assert_shows("disabled")
        self.preferences("enable")
        phone = self.connected_phone("Anna")
        self.assert_shows("connected")
        # Each of them keeps the spinner for half a second; which way it points is another matter.
        moving = threading.Event()
        teller = threading.Thread(target=self.keep_telling, args=(phone, moving))
        teller.start()
        try:
            self.assert_shows("active")
        finally:
            moving.set()
            teller.join()
        until("end of the movement", lambda: differences("26x26+1254+0")["connected"] < TOLERANCE)
        phone.stop()
        self.assert_shows("not-connected")

    @staticmethod
    def keep_telling(phone, done):
        while not done.wait(0.1):
            phone.tell("relay text moving")

    def test_the_icon_goes_with_the_agent(self):
        self.start_tray()
        self.start_agent()
        until("icon", icon)
        self.assertEqual(self.agent.stop(), 0)
        self.assertIsNone(icon())

    def test_a_clip_that_is_too_large_is_told_under_the_icon(self):
        self.start_tray()
        self.start_agent()
        phone = self.connected_phone("Anna")
        before = self.active_window()
        copy("UTF8_STRING", b"x" * MORE_THAN_IS_SENT)
        item = icon()
        shown = until("message", placed_panel)
        self.assertEqual(shown.y, item.y + item.height)
        self.assertLessEqual(shown.x + shown.width, 1280)
        self.assertEqual(self.active_window(), before)
        until("end of the message", lambda: not panel())
        self.assert_served(phone, "small")

    def test_without_packagekit_a_message_says_so(self):
        self.start_tray()
        self.start_agent()
        self.choose(4)
        until("message", panel)

    def test_what_comes_while_the_menu_is_open_is_pasted_all_the_same(self):
        self.start_tray()
        window = self.start("window", ROOT / "scripts" / "demo-window")
        window.wait_for("window in front", lambda line: line == "ready")
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.open_menu()
        phone.tell("text from the phone")
        window.wait_for("pasted text", lambda line: line == "text " + json.dumps("from the phone"))
        until("end of the menu", lambda: not menu())

    @staticmethod
    def active_window():
        return run("xprop", "-root", "_NET_ACTIVE_WINDOW")


class Host:
    def __init__(self, program):
        self.program = program

    def event(self, name):
        return self.program.event(name, lambda line: line if line.get("event") == name else None)

    def ask(self, *command):
        self.program.tell(" ".join(str(part) for part in command))
        line = self.program.event(command[0], lambda line: "event" not in line and line)
        if "error" in line:
            raise StepFailed(line["error"])
        return line["answer"]

    def icons(self):
        """How many new pictures have come since the host was asked something last."""
        count = 0

        def is_answer(line):
            nonlocal count
            count += line.get("event") == "icon"
            return "event" not in line

        self.program.tell("properties")
        self.program.event("properties", is_answer)
        return count

    def titles(self):
        return ["--" if separator else label for _, label, _, separator in self.ask("menu")]

    def choose(self, title):
        self.ask("click", next(number for number, label, _, _ in self.ask("menu") if label == title))


class NotifierHostTest(TrayTest):
    def start_host(self):
        host = Host(self.start("host", "/usr/bin/python3", ROOT / "tests/desktop/status_notifier_host.py"))
        host.event("up")
        return host

    def item_in_host(self):
        host = self.start_host()
        self.start_agent()
        host.event("registered")
        return host

    def test_the_item_has_a_name_and_pictures_of_all_sizes(self):
        properties = self.item_in_host().ask("properties")
        self.assertEqual(properties["ToolTip"], "Clipmule Sync")
        self.assertEqual(properties["Title"], "Clipmule Sync")
        self.assertEqual(properties["Status"], "Active")
        self.assertEqual(sorted(properties["IconPixmap"]), [[side, side] for side in (16, 22, 24, 32, 44, 48)])

    def test_the_host_reads_the_menu(self):
        host = self.item_in_host()
        self.connected_phone("Anna")
        until("menu", lambda: host.titles() == MENU)
        enabled = [label for _, label, can_be_chosen, separator in host.ask("menu")
                   if can_be_chosen and not separator]
        self.assertEqual(enabled, [MENU[1], MENU[2], *MENU[6:]])

    def test_the_hosts_menu_stops_and_starts_the_sync(self):
        host = self.item_in_host()
        phone = self.connected_phone("Anna")
        host.choose("Disable Clipmule Sync")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        until("status line", lambda: host.titles()[4] == "Disabled…")
        host.choose("Enable Clipmule Sync")
        self.wait_until_opened(phone)
        until("status line", lambda: host.titles() == MENU)

    def test_the_status_line_tells_of_a_phone_that_went(self):
        host = self.item_in_host()
        phone = self.connected_phone("Anna")
        phone.stop()
        until("status line", lambda: host.titles()[4] == "Not Connected…")

    def test_the_icon_moves_while_data_moves_and_rests_afterwards(self):
        host = self.item_in_host()
        phone = self.connected_phone("Anna")
        until("end of the movement of connecting", lambda: host.icons() == 0 and host.titles()[4] == "Idle…" and host.icons() == 0)
        copy("UTF8_STRING", b"moving")
        phone.event("clip", item_of)
        until("movement", lambda: host.icons() > 0)
        until("end of the movement", lambda: host.icons() == 0 and host.titles()[4] == "Idle…" and host.icons() == 0)

    def test_a_click_opens_our_own_menu_at_the_pointer(self):
        host = self.item_in_host()
        run("xdotool", "mousemove", 900, 10)
        host.ask("activate", 900, 10)
        shown = until("menu", menu)
        self.assertLessEqual(shown.x, 900)
        self.assertLess(shown.y, 40)
        key("Escape")
        until("end of the menu", lambda: not menu())

    def test_help_is_opened_from_the_hosts_menu(self):
        self.item_in_host().choose("Clipmule Sync Help")
        self.assert_help_was_opened()

    def test_preferences_are_brought_to_the_front(self):
        host = self.item_in_host()
        host.ask("own", "com.zendrik.ClipmuleSync.Preferences")
        host.choose("Open Clipmule Sync Preferences…")
        call = host.event("call")
        self.assertEqual(call["member"], "Activate")
        self.assertEqual(call["path"], "/com/zendrik/ClipmuleSync/Preferences")

    def test_a_host_that_comes_later_gets_the_item(self):
        self.start_agent()
        self.connected_phone("Anna")
        host = self.start_host()
        host.event("registered")
        until("menu", lambda: host.titles() == MENU)

    def test_a_host_that_restarts_gets_the_item_again(self):
        host = self.item_in_host()
        host.program.stop()
        host = self.start_host()
        host.event("registered")
        self.assertEqual(host.titles()[1], "Disable Clipmule Sync")

    def test_a_message_hangs_where_the_status_area_is_thought_to_be(self):
        self.item_in_host()
        self.connected_phone("Anna")
        copy("UTF8_STRING", b"x" * MORE_THAN_IS_SENT)
        shown = until("message", placed_panel)
        self.assertEqual(shown.y, 0)
        self.assertGreater(shown.x, 640)

    def test_a_hidden_item_that_comes_back_has_its_picture_at_once(self):
        host = self.item_in_host()
        self.preferences("set", "showStatus", "false")
        # Two changes that come together are none.
        until("end of the item", lambda: "hidden" in tray_kind())
        self.preferences("set", "showStatus", "true")
        host.event("registered")
        self.assertTrue(host.ask("properties")["IconPixmap"])
        # What the toolkit says of an item that is shown before it has one.
        self.assertFalse(self.logged("No Icon set"))


class NoDisplayTest(agent_test.AgentTest):
    def test_without_a_display_the_agent_runs_on(self):
        before = os.environ.pop("DISPLAY")
        self.addCleanup(os.environ.update, {"DISPLAY": before})
        self.start_agent()
        phone = self.start_phone("Anna")
        self.preferences("pair", "Anna", "--wait", "0")
        self.wait_until_opened(phone)
        maps = pathlib.Path(f"/proc/{self.agent.process.pid}/maps").read_text(encoding="ascii")
        self.assertNotIn("libqxcb", maps)
        done = subprocess.run([BIN / "clipmule-sync", "--menu"], timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(self.agent.stop(), 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
