# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Editors and terminals."""

import os
import pty
import subprocess

from . import material
from .desk import free_folder
from .screen import wait
from .trial import Program


class Editor(Program):
    """Opens a file; what was pasted is read from it once it has been saved."""

    kind = ""
    command = ()

    def start(self):
        self.folder = free_folder(self.desk.folder / f"texts-{self.kind}")

    def open(self, name, text):
        self.stop()
        self.file = self.folder / f"{name}.txt"
        self.file.write_text(text, encoding="utf-8")
        self.process = self.desk.launch(*self.command, self.file)
        self.window = self.desk.window(self.kind, name)
        wait(lambda: False, 1.0)
        self.screen.click_middle(self.window)

    def copy_text(self):
        self.open("copy", material.TEXT + "\nand more\n")
        self.screen.key("ctrl+a")
        self.screen.key("ctrl+c")
        return lambda item: item.get("string", "").strip() == material.TEXT + "\nand more"

    def into(self, kind, accepts):
        self.open(kind, "")

        def seen():
            self.screen.key("ctrl+s")
            wait(lambda: False, 0.3)
            self.found = self.file.read_text(encoding="utf-8", errors="replace")
            return accepts(self.found)
        return seen

    def instead(self):
        return f"“{self.found.strip()[:40]}”" if self.found.strip() else ""

    def paste_text(self, text):
        return self.into("text", lambda found: found.strip() == text and "as text")

    def paste_url(self, text):
        return self.into("url", lambda found: found.strip() == text and "as text")

    def paste_strings(self, text):
        lines = [*material.SENT_LIST, text]
        return self.into("strings", lambda found: [line for line in found.split("\n") if line]
                         == lines and "as text")

    def paste_png(self, _):
        """Nothing to be done with it here, and nothing must be typed for it."""
        return self.stays_empty("png")

    def paste_jpeg(self, _):
        return self.stays_empty("jpeg")

    def stays_empty(self, kind):
        looks = []

        def quiet(found):
            looks.append(found.strip())
            return len(looks) > 3 and not any(looks) and "left alone"
        return self.into(kind, quiet)


class Kate(Editor):
    title = "Kate"
    packages = ("kate",)
    kind = "kate"
    command = ("kate", "--new", "--startanon")


class Mousepad(Editor):
    title = "Mousepad"
    packages = ("mousepad",)
    kind = "mousepad"
    command = ("mousepad", "--disable-server")


class Gedit(Editor):
    title = "gedit"
    packages = ("gedit",)
    kind = "gedit"
    command = ("gedit", "--standalone")


class Terminal(Program):
    """Runs `cat` into a file: what arrives there was typed or pasted."""

    kind = ""

    def command(self, script):
        raise NotImplementedError

    def start(self):
        self.folder = free_folder(self.desk.folder / f"lines-{self.kind}")

    def open(self, script):
        self.stop()
        self.process = self.desk.launch(*self.command(script))
        self.window = self.desk.window(self.kind)
        wait(lambda: False, 1.0)
        self.screen.activate(self.window)

    def into(self, kind, wanted):
        file = self.folder / kind
        self.open(f"cat >'{file}'")

        def seen():
            self.screen.key("Return")
            wait(lambda: False, 0.3)
            self.found = file.read_text(encoding="utf-8", errors="replace") if file.exists() else ""
            return [line for line in self.found.split("\n") if line] == wanted and "as typed"
        return seen

    def instead(self):
        return f"“{self.found.strip()[:40]}”" if self.found.strip() else ""

    def paste_text(self, text):
        return self.into("text", [text])

    def paste_url(self, text):
        return self.into("url", [text])

    def paste_strings(self, text):
        return self.into("strings", [*material.SENT_LIST, text])


class XTerm(Terminal):
    title = "xterm"
    packages = ("xterm",)
    paste_keys = ("shift+Insert",)
    kind = "xterm"
    ours = None

    def open(self, script):
        """As the window of a terminal of ours: what it starts itself gets groups, which a private
        network does not allow."""
        self.stop()
        self.ours, theirs = pty.openpty()
        name = os.ttyname(theirs)
        # Its own fonts of old need not be there.
        self.process = self.desk.launch(
            "xterm", "-u8", "-fa", "monospace", "-xrm", "XTerm*selectToClipboard: true",
            f"-S{name}/{self.ours}", pass_fds=(self.ours,))
        self.window = self.desk.window(self.kind)
        with open(theirs, "rb", buffering=0) as tty:
            # It tells its window's number first.
            tty.readline()
            self.shell = subprocess.Popen(["sh", "-c", script], stdin=tty, stdout=tty, stderr=tty,
                                          start_new_session=True)
        wait(lambda: False, 1.0)
        self.screen.activate(self.window)

    def stop(self):
        super().stop()
        if self.ours is not None:
            os.close(self.ours)
            self.shell.kill()
            self.shell.wait()
            self.ours = None

    def copy_text(self):
        # A click selects a word, a third click the line, and this terminal copies what is selected.
        self.open("clear; echo 'Meet me at the mill'; sleep 600")
        self.screen.click_at(self.window, 30, 8, "--repeat", "3", "--delay", "60", "1")
        return lambda item: item.get("string", "").strip() == "Meet me at the mill"


class XfceTerminal(Terminal):
    title = "Xfce Terminal"
    packages = ("xfce4-terminal",)
    paste_keys = ("ctrl+shift+v",)
    kind = "xfce4-terminal"

    def command(self, script):
        return ("xfce4-terminal", "--disable-server", "--hide-menubar", "-x", "sh", "-c", script)

    def copy_text(self):
        self.open("clear; echo 'Meet me at the mill'; sleep 600")
        self.screen.click_at(self.window, 40, 12, "--repeat", "3", "--delay", "60", "1")
        wait(lambda: False, 0.5)
        self.screen.key("ctrl+shift+c")
        return lambda item: item.get("string", "").strip() == "Meet me at the mill"
