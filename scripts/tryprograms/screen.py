# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The windows of the private desktop, the user's keys and mouse, and the clipboard from outside."""

import contextlib
import os
import socket
import struct
import subprocess
import time

from Xlib import X, error
from Xlib.display import Display

TICK_SECONDS = 0.1
# Longer than a step of any animation.
STILL_SECONDS = 1.0
# A tool that is asked one thing.
TOOL_SECONDS = 10


class NotDriven(Exception):
    """A program could not be brought to do what was wanted; says nothing about the agent."""


def wait(condition, seconds, tick=TICK_SECONDS):
    """The condition's first true answer, or its last one when the time is over."""
    deadline = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer or time.monotonic() > deadline:
            return answer
        time.sleep(tick)


def need(what, condition, seconds):
    """As wait(), but the program counts as not driven when there is no answer."""
    answer = wait(condition, seconds)
    if not answer:
        raise NotDriven(f"no {what} within {seconds} s")
    return answer


def name_the_authority():
    """Lets the library in that looks for a line of this host in the file of the X server's keys."""
    path = os.environ["XAUTHORITY"]
    with open(path, "rb") as file:
        line = file.read()
    # Family, address, display number, method, key; each but the first with its length.
    rest = line[4 + struct.unpack(">H", line[2:4])[0]:]
    method = rest[2 + struct.unpack(">H", rest[:2])[0]:]
    host = socket.gethostname().encode()
    number = os.environ["DISPLAY"].partition(":")[2].partition(".")[0].encode()
    local = 256
    with open(path, "ab") as file:
        file.write(struct.pack(">HH", local, len(host)) + host
                   + struct.pack(">H", len(number)) + number + method)


class Window:
    """One that the window manager manages: its number, class and title."""

    def __init__(self, number, kind, title):
        self.number = number
        self.kind = kind
        self.title = title


class Screen:
    """What a person sees and does at an X server; another display server would have another."""

    def __init__(self):
        self.display = Display()
        self.root = self.display.screen().root

    def _atom(self, name):
        return self.display.intern_atom(name)

    def _property(self, window, name):
        with contextlib.suppress(error.XError):
            found = window.get_full_property(self._atom(name), X.AnyPropertyType)
            return found.value if found else None
        return None

    def windows(self):
        """What the window manager manages."""
        found = []
        for number in self._property(self.root, "_NET_CLIENT_LIST") or []:
            window = self.display.create_resource_object("window", number)
            with contextlib.suppress(error.XError):
                kind = window.get_wm_class()
                title = self._property(window, "_NET_WM_NAME") or window.get_wm_name() or b""
                if isinstance(title, bytes):
                    title = title.decode(errors="replace")
                found.append(Window(number, ".".join(kind) if kind else "", title))
        return found

    def active(self):
        value = self._property(self.root, "_NET_ACTIVE_WINDOW")
        return value[0] if value else 0

    def popups(self):
        """Menus on the screen: windows that no window manager manages."""
        count = 0
        with contextlib.suppress(error.XError):
            for window in self.root.query_tree().children:
                with contextlib.suppress(error.XError):
                    attributes = window.get_attributes()
                    if attributes.override_redirect and attributes.map_state == X.IsViewable:
                        size = window.get_geometry()
                        count += size.width > 60 and size.height > 60
        return count

    def activate(self, window):
        run("xdotool", "windowactivate", str(window.number))
        need(f"focus of {window.kind}", lambda: self.active() == window.number, 5)

    def copy(self, *keys):
        """The keys, until another program owns the clipboard."""
        clipboard = self._atom("CLIPBOARD")
        before = self.display.get_selection_owner(clipboard)
        for _ in range(3):
            self.key(*keys)
            if wait(lambda: self.display.get_selection_owner(clipboard) != before, 3):
                return
        raise NotDriven("nothing was copied")

    def still(self, window, seconds=45):
        """Waits until nothing moves in a window any more: what it loads is there. At most so many
        seconds, since some things never rest."""
        resource = self.display.create_resource_object("window", window.number)
        last, since = None, 0

        def rests():
            nonlocal last, since
            picture = None
            with contextlib.suppress(error.XError):
                size = resource.get_geometry()
                picture = resource.get_image(0, 0, size.width, size.height, X.ZPixmap,
                                             0xffffffff).data
            if picture is None or picture != last:
                last, since = picture, time.monotonic()
            return time.monotonic() - since >= STILL_SECONDS
        wait(rests, seconds, tick=0.3)

    def click_middle(self, window, button=1):
        resource = self.display.create_resource_object("window", window.number)
        size = resource.get_geometry()
        run("xdotool", "mousemove", "--window", str(window.number), str(size.width // 2),
            str(size.height // 2), "click", str(button))

    def click_at(self, window, x, y, *arguments):
        run("xdotool", "mousemove", "--window", str(window.number), str(x), str(y), "click",
            *arguments)

    def menu_key(self, window, key):
        """Opens the menu of what is in the middle of the window, and types an entry's letter."""
        before = self.popups()
        self.click_middle(window, 3)
        need("menu", lambda: self.popups() > before, 5)
        self.key(key)

    def type(self, text):
        run("xdotool", "type", text)

    def key(self, *names):
        run("xdotool", "key", "--clearmodifiers", *names)

    def close(self):
        self.display.close()


def run(*command, seconds=TOOL_SECONDS, data=None):
    """What a tool prints, whatever its exit status."""
    try:
        done = subprocess.run(command, capture_output=True, timeout=seconds, check=False, input=data)
    except subprocess.TimeoutExpired:
        raise NotDriven(f"{command[0]} took more than {seconds} s") from None
    return done.stdout


def targets():
    """What the clipboard's owner offers, in its order."""
    return run("xclip", "-selection", "clipboard", "-o", "-t", "TARGETS").decode().split("\n")[:-1]


def contents(target):
    return run("xclip", "-selection", "clipboard", "-o", "-t", target)
