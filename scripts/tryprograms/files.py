# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""File managers: what was pasted is what lies in the folder."""

from . import material
from .browsers import is_picture
from .desk import free_folder
from .screen import wait
from .trial import Program
from .verdicts import amount


class FileManager(Program):
    """Shows a folder of its own for each copy and paste."""

    kind = ""
    command = ()

    def start(self):
        pass

    def show(self, folder):
        self.stop()
        self.process = self.desk.launch(*self.command, folder)
        self.window = self.desk.window(self.kind, folder.name)
        # What is in the folder is listed after the window has come.
        self.screen.still(self.window)
        self.screen.click_middle(self.window)
        wait(lambda: False, 0.3)

    def copy_all(self, name, *files):
        self.show(self.stuff.folder_with(name, *files))
        self.screen.key("ctrl+a")
        wait(lambda: False, 0.3)
        self.screen.copy("ctrl+c")

    def copy_file(self):
        self.copy_all(f"one-{self.kind}", self.stuff.text_file("letter.txt"))
        return lambda item: "letter.txt" in item.get("string", "")

    def copy_picture_file(self):
        self.copy_all(f"two-{self.kind}", self.stuff.png)
        return lambda item: is_picture(item, material.PICTURE_SIZE)

    def into_folder(self, kind, sent=None):
        self.folder = free_folder(self.desk.folder / f"{kind}-{self.kind}")
        self.show(self.folder)
        self.besides = {window.number for window in self.screen.windows()}

        def seen():
            for path in self.folder.iterdir():
                data = path.read_bytes()
                if sent is None or data == sent.read_bytes():
                    return f"a file of {amount(len(data))}"
            return None
        return seen

    def instead(self):
        new = [window for window in self.screen.windows() if window.number not in self.besides]
        files = list(self.folder.iterdir())
        if files:
            return f"a file {files[0].name}"
        return f"asks: {new[0].title}" if new else ""

    def paste_png(self, _):
        return self.into_folder("png", self.stuff.sent_png)

    def paste_jpeg(self, _):
        return self.into_folder("jpeg", self.stuff.sent_jpeg)

    def paste_url(self, _):
        """Nothing to be done with it here; it must not be fetched, nor be asked about."""
        seen = self.into_folder("url")
        begun = []

        def quiet():
            begun.append(seen() or self.instead())
            return len(begun) > 6 and not any(begun) and "left alone"
        return quiet


class Thunar(FileManager):
    title = "Thunar"
    packages = ("thunar",)
    kind = "thunar"
    command = ("thunar",)


class PCManFM(FileManager):
    title = "PCManFM"
    packages = ("pcmanfm",)
    kind = "pcmanfm"
    command = ("pcmanfm", "--no-desktop")


class Dolphin(FileManager):
    title = "Dolphin"
    packages = ("dolphin",)
    kind = "dolphin"
    command = ("dolphin", "--new-window")


class Nautilus(FileManager):
    title = "Nautilus"
    packages = ("nautilus",)
    kind = "nautilus"
    command = ("nautilus", "--new-window")
