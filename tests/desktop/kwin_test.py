#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent on KDE's compositor, without an X server and with one.

Runs inside scripts/private-desktop --wayland kwin --network; CLIPMULE_BIN says where the programs are.
"""

import json
import subprocess
import sys
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
import main_job  # noqa: E402
from gi.repository import Gio, GLib  # noqa: E402
from agent_test import BIN, ROOT  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

# Kept, since what is sent goes down with it.
BUS = Gio.bus_get_sync(Gio.BusType.SESSION, None)


def call(path, interface, method, arguments=None):
    return BUS.call_sync("org.kde.KWin", path, interface, method, arguments, None,
                         Gio.DBusCallFlags.NONE, PATIENCE_SECONDS * 1000, None).unpack()


VERSION = main_job.version_in(call("/KWin", "org.kde.KWin", "supportInformation")[0].partition("KWin version:")[2])
# Whether it has the data control that all agreed upon, which replaced the other.
AGREED = VERSION >= (6, 5)
# Whether it takes from a program the release of a key that the user holds. Later ones tell instead which are held.
TAKES_RELEASES = VERSION < (6,)
# What scripts may ask, and where they are on the bus, got other names.
LIST, ACTIVE, SCRIPT = (("windowList", "activeWindow", "/Scripting/Script") if VERSION >= (6,) else
                        ("clientList", "activeClient", "/"))

# The kernel's numbers of keys.
LEFT_CONTROL, LEFT_SHIFT, RIGHT_SHIFT, LEFT_ALT, RIGHT_CONTROL, LEFT_SUPER, LETTER_A = 29, 42, 54, 56, 97, 125, 30

# Windows of programs, and which one is active.
LOOK = """callDBus("%s", "/", "test.Looker", "tell", JSON.stringify(
    workspace.%s().filter(window => !window.specialWindow).map(
        window => [String(window.internalId), window === workspace.%s])));
"""
LOOKER = Gio.DBusNodeInfo.new_for_xml("""<node><interface name="test.Looker">
    <method name="tell"><arg type="s" direction="in"/></method></interface></node>""").interfaces[0]


class KwinTest(main_job.MainJob):
    clipboard_words = "ext-data-control" if AGREED else "wlr-data-control"
    pasting_words = "fake-input"
    # The others are no part of KDE.
    not_announced = {"zwlr_data_control_manager_v1" if AGREED else "ext_data_control_manager_v1",
                     "zwp_virtual_keyboard_manager_v1", "zwlr_foreign_toplevel_manager_v1",
                     # Only to who has a desktop entry for it, and without modifiers.
                     *({"org_kde_kwin_keystate"} if TAKES_RELEASES else ())}
    older = {"zwlr_layer_shell_v1": 3}

    def windows(self):
        """A script in the compositor tells."""
        loop = GLib.MainLoop()
        told = []

        def hear(_bus, _sender, _path, _interface, _method, arguments, invocation):
            told.append(json.loads(arguments.unpack()[0]))
            invocation.return_value(None)
            loop.quit()

        registered = BUS.register_object("/", LOOKER, hear, None, None)
        script = self.folder / "look.js"
        script.write_text(LOOK % (BUS.get_unique_name(), LIST, ACTIVE), encoding="utf-8")
        number = call("/Scripting", "org.kde.kwin.Scripting", "loadScript", GLib.Variant("(s)", (str(script),)))[0]
        call(f"{SCRIPT}{number}", "org.kde.kwin.Script", "run")
        GLib.timeout_add_seconds(PATIENCE_SECONDS, loop.quit)
        loop.run()
        call("/Scripting", "org.kde.kwin.Scripting", "unloadScript", GLib.Variant("(s)", (str(script),)))
        BUS.unregister_object(registered)
        return told[0]

    def set_layouts(self, layouts, variants):
        """Those that the user switches between, as KDE's settings set them; some time later they count."""
        (Path.home() / ".config" / "kxkbrc").write_text(
            f"[Layout]\nUse=true\nLayoutList={layouts}\nVariantList={variants}\n", encoding="utf-8")
        BUS.emit_signal(None, "/Layouts", "org.kde.keyboard", "reloadConfig", None)
        # So later versions are told.
        BUS.emit_signal(None, "/kxkbrc", "org.kde.kconfig.notify", "ConfigChanged", GLib.Variant(
            "(a{saay})", ({"Layout": [b"LayoutList", b"VariantList", b"Use"]},)))

    def place_fingers(self):
        return self.start("fingers", BIN.parent / "tests" / "clipmule_kde_keys")

    def move(self, fingers, *movements):
        """The user's fingers: "press 42" or "release 42", by the kernel's number of the key."""
        for movement in movements:
            fingers.tell(movement)
            fingers.wait_for(movement, lambda line: line == "done")

    def tap(self, fingers, key):
        self.move(fingers, f"press {key}", f"release {key}")

    def wait_for_letter(self, window, fingers, letter):
        """Until the layout counts, in which the key of the English "q" types this letter."""
        def letter_typed():
            self.tap(fingers, 16)
            shown = window.wait_for("letter", lambda line: line.startswith("text ") and line)
            return json.loads(shown.removeprefix("text "))[-1]

        until(f"layout with {letter}", lambda: letter_typed() == letter)

    def test_other_layouts(self):
        window = self.open_gtk_window()
        fingers = self.place_fingers()
        self.addCleanup(self.set_layouts, "us", "")
        for layouts, variants, letter in (("us", "dvorak", "'"), ("fr", "", "a"), ("gr,us", ",", ";")):
            self.set_layouts(layouts, variants)
            self.wait_for_letter(window, fingers, letter)
            self.paste_from_phone(window, f"typed with {layouts} {variants}")

    def test_the_layout_in_force_counts(self):
        window = self.open_gtk_window()
        fingers = self.place_fingers()
        self.addCleanup(self.set_layouts, "us", "")
        self.set_layouts("us,us", ",dvorak")

        def switch_to(number):
            return BUS.call_sync("org.kde.keyboard", "/Layouts", "org.kde.KeyboardLayouts", "setLayout",
                                 GLib.Variant("(u)", (number,)), None, Gio.DBusCallFlags.NONE, -1, None)

        until("switch of layouts", lambda: self.owner_of("org.kde.keyboard"))
        for number, letter in ((1, "'"), (0, "q"), (1, "'")):
            switch_to(number)
            self.wait_for_letter(window, fingers, letter)
            self.paste_from_phone(window, f"typed with layout {number} ")

    def test_held_keys_do_not_mix_in(self):
        window = self.open_gtk_window()
        fingers = self.place_fingers()
        for key in (LEFT_SHIFT, RIGHT_SHIFT, RIGHT_CONTROL, LEFT_ALT, LEFT_SUPER):
            text = f"while {key} is held "
            self.move(fingers, f"press {key}")
            if TAKES_RELEASES:
                self.paste_from_phone(window, text)
            else:
                self.send_to_clipboard(text)
                self.move(fingers, f"release {key}")
                self.wait_for_text(window, text)
            # Nothing of it stays down, whether the user lets go of it or presses it again.
            self.tap(fingers, LETTER_A)
            self.wait_for_text(window, text + "a")
            if TAKES_RELEASES:
                self.move(fingers, f"release {key}")
        self.move(fingers, f"press {LEFT_SHIFT}")
        self.tap(fingers, LETTER_A)
        self.move(fingers, f"release {LEFT_SHIFT}")
        self.wait_for_text(window, "aA")

    def send_to_clipboard(self, text):
        self.phone.tell("text " + text)
        until("clip on the clipboard", lambda: self.clipboard(main_job.TEXT) == text.encode())

    @unittest.skipIf(TAKES_RELEASES, "held keys are let go of, not waited for")
    def test_keys_that_stay_held_are_not_waited_for_long(self):
        window = self.open_gtk_window()
        fingers = self.place_fingers()
        self.move(fingers, f"press {LEFT_SHIFT}")
        self.send_to_clipboard("not pasted")
        until("end of waiting", lambda: self.logged("not pasted: modifier keys are held"))
        self.move(fingers, f"release {LEFT_SHIFT}")
        self.tap(fingers, LETTER_A)
        shown = window.wait_for("first letter", lambda line: line.startswith("text ") and line)
        self.assertEqual(shown, 'text "a"')
        # A copy of the user's own, with the very key that is held.
        self.move(fingers, f"press {LEFT_CONTROL}")
        self.send_to_clipboard("nor this")
        self.copy(main_job.TEXT, b"the user's")
        self.move(fingers, f"release {LEFT_CONTROL}")
        until("end of waiting", lambda: self.times_logged("not pasted: ") == 2)
        self.phone.tell("text bc")
        shown = window.wait_for("paste", lambda line: line.startswith("text ") and line)
        self.assertEqual(shown, 'text "abc"')

    def test_the_active_window_is_known(self):
        """By the name that its program gives itself: a terminal that pastes the selection gets no keys."""
        terminal = self.folder / "xterm"
        terminal.symlink_to(ROOT / "scripts" / "demo-window")
        first = self.open_window("window of that name", terminal)
        self.phone.tell("text not for terminals")
        until("clip on the clipboard", lambda: self.clipboard(main_job.TEXT) == b"not for terminals")
        self.paste_from_phone(self.open_gtk_window(), "for everybody else")
        self.assertTrue(first.lines.empty())

    def test_without_the_desktop_entry(self):
        """An agent that was not installed, of which KDE knows nothing."""
        entry = Path.home() / ".local/share/applications/clipmule-sync.desktop"
        text = entry.read_text(encoding="utf-8")

        def change_entry(change, *arguments):
            self.agent.stop()
            change(*arguments)
            subprocess.run([f"kbuildsycoca{VERSION[0]}"], timeout=PATIENCE_SECONDS, check=True, capture_output=True)

        self.addCleanup(change_entry, entry.write_text, text)
        change_entry(entry.unlink)
        self.start_agent()
        self.wait_until_opened(self.phone)
        self.phone.tell("text from the phone")
        until("clip on the clipboard", lambda: self.clipboard(main_job.TEXT) == b"from the phone")
        words = self.doctor()
        self.assertIn(f"{self.clipboard_words}: reading yes, writing yes", words)
        self.assertRegex(words, r"pasting +none\n")
        self.assertIn(f"cannot be pasted: no installed desktop entry has both Exec={BIN / 'clipmule-sync'} and "
                      "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input.", words)


class KwinXWaylandTest(KwinTest):
    """The agent is a client of both, and uses the compositor's clipboard and keys."""


if __name__ == "__main__":
    unittest.main(verbosity=2)
