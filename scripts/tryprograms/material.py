# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What is copied and sent: made anew, so that nothing but a few letters has to be kept for it."""

import subprocess
import time

TEXT = "Meet me at the mill, 7 o’clock – 3 € ü 東京 😀"
STYLED = "bold and italic"
LINK = "https://example.org/mill?a=1&b=%C3%BC"
SENT_URL = "https://example.org/river/mill?c=2"
SENT_LIST = ("bread", "cheese", "apples")
CELLS = [["mill", "river", "7"], ["oak", "ash", "12"], ["a", "b", "99"]]
# Up to some hundred rows office suites give a range as a picture, too.
SOME_ROWS, MANY_ROWS, COLUMNS = 200, 3000, 15
PICTURE_SIZE = (640, 480)
PHOTO_SIZE = (3000, 2000)
LARGE_PHOTO_SIZE = (6000, 4000)


def convert(*arguments):
    """ImageMagick."""
    subprocess.run(["convert", *map(str, arguments)], check=True)


class Material:
    """Files in a folder: pictures that are copied, and others that the phone sends."""

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir(parents=True, exist_ok=True)
        self.png = folder / "picture.png"
        self.photo = folder / "photo.jpg"
        self.large_photo = folder / "large.jpg"
        self.sent_png = folder / "sent.png"
        self.sent_jpeg = folder / "sent.jpg"
        size = "x".join(map(str, PICTURE_SIZE))
        convert("-size", size, "gradient:orange-midnightblue", "-fill", "gold", "-draw",
                "circle 320,300 320,220", self.png)
        for path, pixels in ((self.photo, PHOTO_SIZE), (self.large_photo, LARGE_PHOTO_SIZE)):
            # Noise of a camera's kind: a photo is large as a PNG.
            convert("-seed", "7", "-size", "x".join(map(str, pixels)), "plasma:", "-attenuate",
                    "0.3", "+noise", "Gaussian", "-quality", "88", path)
        convert("-size", "120x90", "gradient:red-blue", self.sent_png)
        convert("-seed", "3", "-size", "160x110", "plasma:", self.sent_jpeg)

    def text_file(self, name, text=TEXT + "\n"):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return path

    def folder_with(self, name, *files):
        folder = self.folder / name
        folder.mkdir(parents=True, exist_ok=True)
        for file in files:
            (folder / file.name).write_bytes(file.read_bytes())
        return folder


def unique(kind):
    """A text that no earlier paste has left behind."""
    return f"{kind} {time.monotonic_ns() % 10**9} ü €"


def cells_text():
    return "\n".join("\t".join(row) for row in CELLS)


def many_cells(rows):
    return [[f"r{row}c{column}" for column in range(COLUMNS)] for row in range(rows)]
