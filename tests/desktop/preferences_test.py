#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The real preferences window in a real desktop, used as people use it: by keyboard and mouse
(xdotool), and read as a screen reader reads it (AT-SPI). With the real agent and phones.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import gi  # noqa: E402
gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402
from agent_test import BIN, AgentTest  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

PREFERENCES = "com.zendrik.ClipmuleSync.Preferences"
# What newer versions of the bus call what we name as the older ones do.
RENAMED_ROLES = {"push button": "button"}
BUS_LAUNCHER = "/usr/libexec/at-spi-bus-launcher"


def xdotool(*arguments):
    subprocess.run(["xdotool", *map(str, arguments)], check=True, timeout=PATIENCE_SECONDS,
                   stdout=subprocess.DEVNULL)


# By its name xdotool presses Alt as well where newer descriptions of keyboards have F2 in several rows.
F2 = "68"


def press(*keys):
    xdotool("key", "--clearmodifiers", *keys)


def gdbus(method, *arguments):
    return subprocess.run(["gdbus", "call", "--session", "--dest", PREFERENCES, "--object-path",
                           "/" + PREFERENCES.replace(".", "/"), "--method",
                           "org.freedesktop.Application." + method, *arguments],
                          capture_output=True, text=True, timeout=PATIENCE_SECONDS, check=False)


def children(node):
    for number in range(node.get_child_count()):
        child = node.get_child_at_index(number)
        if child is not None:
            yield child


def walk(node):
    yield node
    for child in children(node):
        yield from walk(child)


def is_(node, state):
    return node.get_state_set().contains(state)


class PreferencesTest(AgentTest):
    @classmethod
    def setUpClass(cls):
        os.environ["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"
        cls.launcher = subprocess.Popen([BUS_LAUNCHER, "--launch-immediately"],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.end_launcher)
        until("accessibility bus", lambda: cls.owner_of("org.a11y.Bus"))
        Atspi.init()

    @classmethod
    def end_launcher(cls):
        cls.launcher.terminate()
        cls.launcher.wait(timeout=PATIENCE_SECONDS)

    def open_window(self):
        self.window = self.start("preferences", BIN / "clipmule-preferences")
        until("window", lambda: self.nodes("frame", "Clipmule Sync Preferences"))
        until("window in front", self.is_in_front)

    @staticmethod
    def is_in_front(title="Clipmule Sync Preferences"):
        done = subprocess.run(["xdotool", "getactivewindow", "getwindowname"], capture_output=True,
                              text=True, timeout=PATIENCE_SECONDS, check=False)
        return title == done.stdout.strip()

    # What a screen reader finds.

    def nodes(self, role, name=None):
        """Those that are on the screen."""
        found = []
        try:
            for application in children(Atspi.get_desktop(0)):
                if application.get_name() != "clipmule-preferences":
                    continue
                # What a cache holds is what was there.
                application.set_cache_mask(Atspi.Cache.NONE)
                found += [node for node in walk(application)
                          if node.get_role_name() in (role, RENAMED_ROLES.get(role)) and
                          (name is None or node.get_name() == name)
                          and is_(node, Atspi.StateType.SHOWING)]
        except GLib.Error:
            # Something went away while it was looked at: not this time.
            return []
        return found

    def node(self, role, name):
        return until(f"{role} “{name}”", lambda: self.nodes(role, name))[0]

    def phones(self, list_name):
        return [item.get_name() for view in self.nodes("list", list_name)
                for item in children(view)]

    def wait_for_phone(self, list_name, beginning):
        until(f"“{beginning}” among the {list_name}",
              lambda: any(name.startswith(beginning) for name in self.phones(list_name)))

    def paired(self):
        return self.phones("Paired phones")

    def wait_for_paired(self, beginning):
        self.wait_for_phone("Paired phones", beginning)

    def wait_for_text(self, text):
        until(f"the words “{text}”",
              lambda: any(text in label.get_name() for label in self.nodes("label")))

    # What a user does.

    def click(self, role, name):
        place = self.node(role, name).get_extents(Atspi.CoordType.SCREEN)
        xdotool("mousemove", place.x + place.width // 2, place.y + place.height // 2, "click", 1)

    def focus_list(self, mnemonic, list_name):
        press(f"alt+{mnemonic}")
        until(f"focus in the {list_name}",
              lambda: any(is_(view, Atspi.StateType.FOCUSED)
                          for view in self.nodes("list", list_name)))

    def focused(self):
        """The name of what has the focus; of a list, that of the current item."""
        for role in ("check box", "push button", "list", "combo box"):
            for node in self.nodes(role):
                if role == "list":
                    # Its current item calls itself focused whether or not the list is.
                    if not is_(node, Atspi.StateType.FOCUSED):
                        continue
                    node = next((item for item in children(node)
                                 if is_(item, Atspi.StateType.FOCUSED)), node)
                if is_(node, Atspi.StateType.FOCUSED):
                    return node.get_name()
        return None

    def is_checked(self, name):
        return is_(self.node("check box", name), Atspi.StateType.CHECKED)

    def registered(self):
        return [json.loads(line) for line in self.preferences("list", "--json").splitlines()]


class PairingTest(PreferencesTest):
    def test_phones_appear_and_are_paired_by_return_and_by_click(self):
        self.start_agent()
        self.open_window()
        self.wait_for_text("open the app on your phone")
        anna = self.start_phone("Anna's Phone")
        bert = self.start_phone("Bert's Phone")
        self.wait_for_phone("Phones on this network", "Anna's Phone, Ready to be paired")
        self.wait_for_phone("Phones on this network", "Bert's Phone, Ready to be paired")
        self.focus_list("n", "Phones on this network")
        press("Home", "Return")
        self.wait_until_opened(anna)
        self.wait_for_paired("Anna's Phone, Connected")
        self.wait_for_text("Connected to Anna's Phone.")
        self.click("push button", "Pair")
        self.wait_until_opened(bert)
        self.wait_for_paired("Bert's Phone, Connected")
        self.assertEqual([phone["service"] for phone in self.registered()],
                         ["Anna's Phone", "Bert's Phone"])
        self.wait_for_text("To pair another phone")
        # What is synced is counted while it is watched.
        self.assert_served(anna, "counted")
        self.wait_for_text("Texts: 1")

    def test_a_phone_is_renamed(self):
        self.start_agent()
        phone = self.connected_phone("Anna's Phone")
        self.open_window()
        self.wait_for_paired("Anna's Phone, Connected")
        self.focus_list("p", "Paired phones")
        press(F2)
        self.node("text", "Name of the phone:")
        until("dialog in front", lambda: self.is_in_front("Rename Phone"))
        # The name is selected, and typed over.
        xdotool("type", "Mum")
        press("Return")
        self.wait_for_paired("Mum, Connected · Anna's Phone")
        self.assertEqual(self.registered(), [{"service": "Anna's Phone", "name": "Mum"}])
        # Escape leaves it as it is, and the window open.
        press("alt+m")
        self.node("text", "Name of the phone:")
        until("dialog in front", lambda: self.is_in_front("Rename Phone"))
        xdotool("type", "Dad")
        press("Escape")
        until("end of editing", lambda: not self.nodes("text"))
        self.wait_for_paired("Mum, Connected")
        self.assert_served(phone, "still connected")

    def test_a_removed_phone_comes_back_by_key_and_by_click(self):
        self.start_agent()
        phone = self.connected_phone("Anna's Phone")
        self.open_window()
        self.wait_for_paired("Anna's Phone, Connected")
        self.focus_list("p", "Paired phones")
        press("Delete")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        self.wait_for_text("“Anna's Phone” was unpaired.")
        self.assertEqual(self.registered(), [])
        # It is still there, and could be paired anew.
        self.wait_for_phone("Phones on this network", "Anna's Phone")
        press("ctrl+z")
        self.wait_until_opened(phone)
        self.wait_for_paired("Anna's Phone, Connected")
        self.click("push button", "Unpair")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        self.click("push button", "Undo")
        self.wait_until_opened(phone)
        self.wait_for_paired("Anna's Phone, Connected")
        until("end of the notice", lambda: not self.nodes("push button", "Undo"))


class ChangesTest(PreferencesTest):
    def test_syncing_is_switched_off_and_on(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.open_window()
        name = "Sync the clipboard with the paired phones"
        self.assertTrue(self.is_checked(name))
        press("alt+s")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        self.wait_for_paired("Anna, On the network")
        self.wait_for_text("Syncing is off.")
        press("alt+s")
        self.wait_until_opened(phone)
        self.wait_for_paired("Anna, Connected")
        # The command line throws the same switch.
        self.preferences("disable")
        until("the switch to follow", lambda: not self.is_checked(name))

    def test_a_phone_leaves_and_comes_back(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.open_window()
        self.wait_for_paired("Anna, Connected")
        phone.stop()
        self.wait_for_paired("Anna, Not on the network, last seen today at")
        self.wait_until_opened(self.start_phone("Anna"))
        self.wait_for_paired("Anna, Connected")

    def test_when_a_phone_was_seen_is_remembered(self):
        phone = self.start_phone("Anna")
        self.preferences("pair", "Anna", "--wait", "0")
        self.open_window()
        self.wait_for_paired("Anna, On the network")
        press("ctrl+w")
        self.window.process.wait(timeout=PATIENCE_SECONDS)
        self.assertEqual(self.window.stop(), 0)
        phone.stop()
        self.open_window()
        self.wait_for_paired("Anna, Not on the network, last seen today at")

    def test_the_switches(self):
        self.open_window()
        for mnemonic, name, domain_key in (("i", "Show the icon in the system tray", "showStatus"),
                                           ("u", "Check for updates automatically",
                                            "autoUpdateEnabled")):
            before = self.is_checked(name)
            press(f"alt+{mnemonic}")
            until(f"change of {name}", lambda name=name, before=before:
                  self.is_checked(name) != before)
            self.assertEqual(self.preferences("get", domain_key), str(not before).lower())
        entry = self.folder / "config" / "autostart" / "com.zendrik.ClipmuleSync.desktop"
        self.assertFalse(self.is_checked("Start at login"))
        press("alt+l")
        until("autostart entry", entry.exists)
        until("check mark", lambda: self.is_checked("Start at login"))
        press("alt+l")
        until("end of it", lambda: "Hidden=true" in entry.read_text(encoding="utf-8"))
        self.assertTrue(self.is_checked("Paste what a phone sends"))
        press("alt+e")
        until("paste mode", lambda: self.preferences("get", "pasteMode") == "clipboard")


class LifeTest(PreferencesTest):
    def test_an_agent_that_does_not_run_is_started(self):
        self.open_window()
        self.wait_for_text("Clipmule Sync is not running.")
        self.click("push button", "Start Clipmule Sync")
        until("agent on the bus", lambda: self.owner_of("com.zendrik.ClipmuleSync"))
        self.addCleanup(self.end_owner, "com.zendrik.ClipmuleSync")
        self.wait_for_text("No phone is connected.")
        until("end of the button", lambda: not self.nodes("push button", "Start Clipmule Sync"))

    @staticmethod
    def end_owner(name):
        done = subprocess.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                               "--object-path", "/org/freedesktop/DBus", "--method",
                               "org.freedesktop.DBus.GetConnectionUnixProcessID", name],
                              capture_output=True, text=True, check=True)
        os.kill(int(done.stdout.strip("(),\n ").split()[-1]), 15)

    def test_a_second_start_brings_the_first_to_the_front(self):
        self.open_window()
        other = self.start("another window", "xmessage", "-center", "in front")
        until("another window in front", lambda: not self.is_in_front())
        second = subprocess.run([BIN / "clipmule-preferences"], timeout=PATIENCE_SECONDS,
                                capture_output=True, check=False)
        self.assertEqual(second.returncode, 0, second.stderr)
        until("window in front", self.is_in_front)
        self.assertIsNone(self.window.process.poll())
        other.stop()

    def test_the_bus_starts_it_raises_it_and_ends_it(self):
        services = pathlib.Path(os.environ["XDG_DATA_HOME"]) / "dbus-1" / "services"
        services.mkdir(parents=True, exist_ok=True)
        (services / f"{PREFERENCES}.service").write_text(
            f"[D-BUS Service]\nName={PREFERENCES}\nExec={BIN}/clipmule-preferences\n",
            encoding="utf-8")
        self.addCleanup((services / f"{PREFERENCES}.service").unlink)
        subprocess.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                        "--object-path", "/org/freedesktop/DBus", "--method",
                        "org.freedesktop.DBus.ReloadConfig"], check=True, capture_output=True)
        # As a session does when it has a display.
        subprocess.run(["dbus-update-activation-environment", "--all"], check=True)
        self.assertEqual(gdbus("Activate", "@a{sv} {}").returncode, 0)
        until("window in front", self.is_in_front)
        self.assertEqual(gdbus("Activate", "@a{sv} {}").returncode, 0)
        self.assertEqual(len(self.nodes("frame", "Clipmule Sync Preferences")), 1)
        self.assertEqual(gdbus("ActivateAction", "quit", "@av []", "@a{sv} {}").returncode, 0)
        until("its end", lambda: not self.owner_of(PREFERENCES))

    def test_everything_is_reached_by_the_tab_key_and_has_a_name(self):
        self.start_agent()
        self.connected_phone("Anna")
        self.start_phone("Bert")
        self.open_window()
        self.wait_for_paired("Anna, Connected")
        self.wait_for_phone("Phones on this network", "Bert")
        reached = []
        for _ in range(20):
            name = until("focus elsewhere", lambda: self.focused() not in reached[-1:] and
                         self.focused())
            if name in reached:
                break
            reached.append(name)
            press("Tab")
        shortened = [name.split(",")[0] for name in reached]
        self.assertEqual(shortened, ["Sync the clipboard with the paired phones", "Anna",
                                     "As with all phones: paste it", "Rename…", "Unpair", "Bert",
                                     "Add a phone by its browser…", "Pair by address…", "Pair",
                                     "Paste what a phone sends", "Show the icon in the system tray",
                                     "Start at login", "Serve the page for browsers at login",
                                     "Check for updates automatically", "Help"])

    def test_the_doctor_tells_what_works(self):
        broken = json.loads(self.preferences("doctor", "--json", status=1))
        self.assertEqual(broken["agent"], "not running")
        self.assertIn("The agent is not running. Start clipmule-sync.", broken["problems"])
        self.start_agent()
        self.connected_phone("Anna")
        well = json.loads(self.preferences("doctor", "--json"))
        self.assertEqual(well["problems"], [])
        self.assertTrue(well["agentStatus"]["pasteboardCanRead"])
        self.assertEqual([(phone["name"], phone["state"]) for phone in well["phones"]],
                         [("Anna", "connected")])
        self.assertIn("phones        Anna (Anna): connected", self.preferences("doctor"))


class WithoutDaemonTest(PreferencesTest):
    """Inside private-network-lo --without-daemon."""

    def test_it_tells_what_is_missing_and_finds_phones_nevertheless(self):
        # A cable to nowhere: this computer is in a network.
        for command in ("link add wire0 type veth peer name wire1", "address add 10.9.9.1/24 dev "
                        "wire0", "link set wire0 up", "link set wire1 up"):
            subprocess.run(["ip", *command.split()], check=True)
        self.open_window()
        self.wait_for_text("The Avahi daemon is not running. Phones are searched for without it.")
        self.wait_for_text("sudo systemctl enable --now avahi-daemon")
        self.start_phone("Anna")
        self.wait_for_phone("Phones on this network", "Anna")


if __name__ == "__main__":
    unittest.main(verbosity=2)
