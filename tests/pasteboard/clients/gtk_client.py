#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A GTK application with a text field, for tests: copies on command, shows what is pasted.

Commands come on standard input, one a line; answers go to standard output. Texts are hexadecimal
UTF-8.

    copy-text HEX        copy-image FILE        copy-uris URI...
    clear                read-text              read-image FILE      read-targets

"ready" is said when the window has the focus, "text HEX" whenever the field's text changes, and
"done" or "text HEX" or "targets NAME..." to a command.
"""

import os
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk, GdkPixbuf  # noqa: E402


def say(*words):
    print(*words, flush=True)


class Client:
    def __init__(self):
        self.clipboard = Gtk.Clipboard.get(Gdk.SELECTION_CLIPBOARD)
        self.window = Gtk.Window(title="gtk client")
        self.window.set_default_size(400, 200)
        self.text = Gtk.TextView()
        self.window.add(self.text)
        self.text.get_buffer().connect("changed", self.changed)
        self.text.connect("focus-in-event", self.focused)
        self.window.show_all()
        self.text.grab_focus()
        GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT,
                          GLib.IOCondition.IN | GLib.IOCondition.HUP, self.command)
        self.input = b""

    def focused(self, *_):
        GLib.idle_add(say, "ready")
        return False

    def changed(self, buffer):
        start, end = buffer.get_bounds()
        say("text", buffer.get_text(start, end, True).encode().hex())

    def command(self, *_):
        data = os.read(sys.stdin.fileno(), 65536)
        if not data:
            Gtk.main_quit()
            return False
        self.input += data
        while b"\n" in self.input:
            line, self.input = self.input.split(b"\n", 1)
            words = line.decode().split(" ")
            getattr(self, words[0].replace("-", "_"))(*words[1:])
        return True

    def clear(self):
        self.text.get_buffer().set_text("")
        say("done")

    def copy_text(self, text):
        self.clipboard.set_text(bytes.fromhex(text).decode(), -1)
        say("done")

    def copy_image(self, path):
        self.clipboard.set_image(GdkPixbuf.Pixbuf.new_from_file(path))
        say("done")

    # This toolkit's scripting offers no way to own other targets than text and images; file
    # managers copy files by hand-written targets, so these come from the other client.
    def read_text(self):
        self.clipboard.request_text(
            lambda _, text: say("text", (text or "").encode().hex()))

    def read_image(self, path):
        def received(_, pixbuf):
            if pixbuf:
                pixbuf.savev(path, "png", [], [])
            say("done" if pixbuf else "nothing")

        self.clipboard.request_image(received)

    def read_targets(self):
        self.clipboard.request_targets(
            lambda _, targets, count=0: say("targets", *[atom.name() for atom in targets or []]))


Client()
Gtk.main()
