#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Another program on GNOME's clipboard without a window, as a remote desktop is, and one that is shown
the windows.

Commands on standard input:   copy TYPE FILE | read TYPE FILE | windows | press KEY | release KEY
Lines on standard output:     copied | read (the file is written; empty where there is none) | windows JSON | typed
"""

import json
import os
import sys
import threading

from gi.repository import Gio, GLib

NAME = "org.gnome.Mutter.RemoteDesktop"
# Who may ask the shell for its windows: portals, by name. There is none of them on a private bus.
ASKER = "org.freedesktop.impl.portal.desktop.gnome"


def say(*words):
    print(*words, flush=True)


class Peer:
    def __init__(self):
        self.bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
        self.data = b""
        Gio.bus_own_name_on_connection(self.bus, ASKER, Gio.BusNameOwnerFlags.NONE, None, None)
        self.session = self.create_session()
        self.keyboard = None
        self.bus.signal_subscribe(NAME, NAME + ".Session", "SelectionTransfer", self.session, None,
                                  Gio.DBusSignalFlags.NONE, self.serve)
        self.of_session("EnableClipboard", "(a{sv})", {})
        GLib.io_add_watch(sys.stdin, GLib.IO_IN | GLib.IO_HUP, self.perform)

    def create_session(self):
        return self.call(NAME, "/org/gnome/Mutter/RemoteDesktop", NAME, "CreateSession")[0][0]

    def call(self, name, path, interface, method, arguments=None):
        answer, descriptors = self.bus.call_with_unix_fd_list_sync(
            name, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, -1, None, None)
        return answer.unpack(), descriptors.steal_fds() if descriptors else []

    def of_session(self, method, signature, *arguments, session=None):
        return self.call(NAME, session or self.session, NAME + ".Session", method, GLib.Variant(signature, arguments))

    def serve(self, _bus, _sender, _path, _interface, _signal, arguments):
        _, serial = arguments.unpack()
        _, (descriptor,) = self.of_session("SelectionWrite", "(u)", serial)
        os.set_blocking(descriptor, True)
        data = self.data

        def write():
            # A reader may close its end.
            try:
                with open(descriptor, "wb") as pipe:
                    pipe.write(data)
            except BrokenPipeError:
                pass
            GLib.idle_add(lambda: self.of_session("SelectionWriteDone", "(ub)", serial, True) and False)

        threading.Thread(target=write, daemon=True).start()

    def copy(self, kind, path):
        with open(path, "rb") as file:
            self.data = file.read()
        self.of_session("SetSelection", "(a{sv})", {"mime-types": GLib.Variant("as", [kind])})
        say("copied")

    def read(self, kind, path):
        try:
            _, (descriptor,) = self.of_session("SelectionRead", "(s)", kind)
        except GLib.Error:
            data = b""
        else:
            os.set_blocking(descriptor, True)
            with open(descriptor, "rb") as pipe:
                data = pipe.read()
        with open(path, "wb") as file:
            file.write(data)
        say("read")

    def windows(self):
        (windows,), _ = self.call("org.gnome.Shell", "/org/gnome/Shell/Introspect",
                                  "org.gnome.Shell.Introspect", "GetWindows")
        say("windows", json.dumps(sorted((number, window["has-focus"]) for number, window in windows.items())))

    def type(self, key, is_down):
        if not self.keyboard:
            self.keyboard = self.create_session()
            self.of_session("Start", "()", session=self.keyboard)
        self.of_session("NotifyKeyboardKeycode", "(ub)", int(key), is_down, session=self.keyboard)
        say("typed")

    def perform(self, *_):
        line = sys.stdin.readline()
        if not line:
            loop.quit()
            return False
        command, *arguments = line.split()
        {"copy": self.copy, "read": self.read, "windows": self.windows,
         "press": lambda key: self.type(key, True), "release": lambda key: self.type(key, False)}[command](*arguments)
        return True


loop = GLib.MainLoop()
peer = Peer()
loop.run()
