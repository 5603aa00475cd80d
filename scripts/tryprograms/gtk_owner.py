#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""usage: gtk_owner.py text TEXT | image FILE

Copies as a program does that is made with GTK, and prints "ready"; when a line comes, asks the
clipboard manager to keep it, as such programs do when they quit, and ends.
"""

import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GdkPixbuf, GLib, Gtk  # noqa: E402

clipboard = Gtk.Clipboard.get(Gdk.SELECTION_CLIPBOARD)
if sys.argv[1] == "text":
    clipboard.set_text(sys.argv[2], -1)
else:
    clipboard.set_image(GdkPixbuf.Pixbuf.new_from_file(sys.argv[2]))
clipboard.set_can_store(None)


def quit_now(*_):
    clipboard.store()
    Gtk.main_quit()


GLib.io_add_watch(0, GLib.IO_IN | GLib.IO_HUP, quit_now)
print("ready", flush=True)
Gtk.main()
