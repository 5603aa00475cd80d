# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""GIMP, Inkscape, and viewers of documents."""

import re
import socket
import struct
import subprocess

from . import material
from .browsers import is_picture
from .desk import free_folder
from .screen import need, wait
from .trial import Program

TEXT = "Meet me at the mill"
PAGE = f"""<svg xmlns="http://www.w3.org/2000/svg" width="400" height="200">
<text x="20" y="100" font-size="24" font-family="DejaVu Sans">{TEXT}</text></svg>"""
DRAWING = """<svg xmlns="http://www.w3.org/2000/svg" width="400" height="300">
<circle cx="200" cy="150" r="60" fill="gold"/></svg>"""


class Viewer(Program):
    """Shows a page of a document with one line of text."""

    kind = ""

    def start(self):
        folder = free_folder(self.desk.folder / f"pages-{self.kind}")
        drawn, self.document = folder / "page.svg", folder / "page.pdf"
        drawn.write_text(PAGE, encoding="utf-8")
        subprocess.run(["rsvg-convert", "-f", "pdf", "-o", self.document, drawn], check=True)
        self.process = self.desk.launch(self.kind, self.document)
        self.window = self.desk.window(self.kind, "page")
        wait(lambda: False, 2.0)

    def copy_text(self):
        self.screen.click_middle(self.window)
        self.screen.key("ctrl+a")
        wait(lambda: False, 0.5)
        self.screen.key("ctrl+c")
        return lambda item: item.get("string", "").strip() == TEXT


class Evince(Viewer):
    title = "Evince"
    packages = ("evince",)
    kind = "evince"


class Okular(Viewer):
    title = "Okular"
    packages = ("okular",)
    kind = "okular"

    def copy_text(self):
        # Its first tool drags the page; the fourth selects text.
        self.screen.activate(self.window)
        self.screen.key("ctrl+4")
        wait(lambda: False, 0.5)
        return super().copy_text()


class Inkscape(Program):
    title = "Inkscape"
    packages = ("inkscape",)

    def start(self):
        folder = free_folder(self.desk.folder / "drawings")
        drawing = folder / "drawing.svg"
        drawing.write_text(DRAWING, encoding="utf-8")
        self.process = self.desk.launch("inkscape", drawing, INKSCAPE_PROFILE_DIR=str(folder))
        self.window = self.desk.window("inkscape", "drawing")
        wait(lambda: False, 3.0)

    def copy_image(self):
        self.screen.click_middle(self.window)
        self.screen.key("ctrl+a")
        wait(lambda: False, 0.5)
        self.screen.key("ctrl+c")
        return lambda item: "imageData" in item


class Gimp(Program):
    """Asked by its own script server."""

    title = "GIMP"
    packages = ("gimp",)
    # Another one for each start: the last one may still be taken.
    port = 10008

    def open(self, picture):
        self.stop()
        self.port += 1
        home = free_folder(self.desk.folder / "gimp")
        log = self.desk.folder / "script-fu.log"
        self.process = self.desk.launch(
            "gimp", "--no-splash", "--new-instance", "-b",
            f'(plug-in-script-fu-server 1 "127.0.0.1" {self.port} "{log}")', picture,
            GIMP2_DIRECTORY=str(home))
        self.window = self.desk.window("gimp", picture.stem)
        need("GIMP's script server", lambda: self.ask("(gimp-image-list)"), 60)
        self.screen.activate(self.window)

    def start(self):
        pass

    def ask(self, expression):
        try:
            with socket.create_connection(("127.0.0.1", self.port), timeout=5) as connection:
                text = expression.encode()
                connection.sendall(b"G" + struct.pack(">H", len(text)) + text)
                head = connection.recv(4, socket.MSG_WAITALL)
                return connection.recv(struct.unpack(">H", head[2:])[0], socket.MSG_WAITALL).decode()
        except (OSError, struct.error):
            return ""

    def copy_picture(self, picture):
        self.open(picture)
        self.screen.click_middle(self.window)
        self.screen.key("ctrl+a")
        self.screen.key("ctrl+c")

    def copy_image(self):
        self.copy_picture(self.stuff.png)
        return lambda item: is_picture(item, material.PICTURE_SIZE)

    def copy_photo(self):
        self.copy_picture(self.stuff.photo)
        return lambda item: "imageData" in item

    def copy_large_photo(self):
        self.copy_picture(self.stuff.large_photo)
        return lambda item: "imageData" in item

    def into(self, picture):
        self.open(self.stuff.png)
        self.screen.click_middle(self.window)
        image = need("image in GIMP", lambda: re.search(r"#\((\d+)", self.ask("(gimp-image-list)")),
                     30)

        def seen():
            answer = self.ask("(let ((l (car (gimp-image-get-floating-sel "
                              f"{image.group(1)})))) (list l (if (> l 0) (car "
                              "(gimp-drawable-width l)) 0) (if (> l 0) (car "
                              "(gimp-drawable-height l)) 0)))")
            found = re.search(r"\((\d+) (\d+) (\d+)\)", answer)
            return found and int(found.group(1)) > 0 and f"{found.group(2)}×{found.group(3)}"
        return seen

    def paste_png(self, _):
        return self.into(self.stuff.sent_png)

    def paste_jpeg(self, _):
        return self.into(self.stuff.sent_jpeg)
