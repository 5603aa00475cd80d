# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Clipboard managers: what they keep, and that nothing comes back to the phone."""

import dataclasses
import pathlib
import sys
import time

from programs import Program

from . import record, screen
from .desk import SETTLES_SECONDS
from .screen import NotDriven, need, wait
from .verdicts import NOTHING, NOT_DRIVEN, OTHER, RIGHT, described

GTK_OWNER = pathlib.Path(__file__).resolve().parent / "gtk_owner.py"
# Until a manager has taken over what an owner left behind.
KEEPS_SECONDS = 3
# Some look at the clipboard twice a second only.
READS_SECONDS = 1.5
# A program gives its manager ten seconds, twice.
STORES_SECONDS = 30
# For a manager to start, and how often it is then looked whether it reads what is copied.
READY_SECONDS = 4
STARTS_TRIES = 5
# For one to read a photo in all the forms that it is offered in.
READS_PHOTO_SECONDS = 8


@dataclasses.dataclass
class Manager:
    command: tuple
    packages: tuple
    environment: dict = dataclasses.field(default_factory=dict)


MANAGERS = {
    "no manager": Manager((), ()),
    "clipman": Manager(("xfce4-clipman",), ("xfce4-clipman",)),
    "Parcellite": Manager(("parcellite", "--daemon"), ("parcellite",)),
    "CopyQ": Manager(("copyq",), ("copyq",)),
    "Klipper": Manager(("klipper",), ("plasma-workspace",)),
    "GPaste": Manager(("/usr/libexec/gpaste/gpaste-daemon",), ("gpaste-2",)),
    # The desktop's own keeper is a part of its window manager, which takes over from ours.
    "GNOME": Manager(("mutter", "--x11", "--replace", "--sm-disable"), ("mutter",)),
}


class Managers:
    """One manager, and what becomes of copies beside it."""

    def __init__(self, desk, material, name, recorder):
        self.desk = desk
        self.material = material
        self.name = name
        self.recorder = recorder

    def run(self, cases):
        """Each of these cases, {name: description}, with its result."""
        manager = MANAGERS[self.name]
        process = None
        if manager.command:
            process = self.desk.launch(*manager.command, **manager.environment)
            self.wait_until_it_reads(process)
        for case, what in cases.items():
            try:
                yield what, getattr(self, case)()
            except NotDriven as reason:
                yield what, {"verdict": NOT_DRIVEN, "what": str(reason)}
        if process:
            self.desk.end_program(process)

    def wait_until_it_reads(self, process):
        """There is no mark of readiness that all of them share. Nothing is on the clipboard while it
        starts: clipman does not work otherwise."""
        wait(lambda: process.poll() is not None, READY_SECONDS)
        for _ in range(STARTS_TRIES):
            if process.poll() is not None:
                raise NotDriven(f"{self.name} ended with {process.returncode}")
            owner = self.owner({"UTF8_STRING": self.unique("a first copy")})
            has_read = wait(lambda: record.requests(owner), READY_SECONDS)
            wait(lambda: False, READS_SECONDS)
            self.kill(owner)
            wait(lambda: False, SETTLES_SECONDS)
            if has_read:
                return
        raise NotDriven(f"{self.name} does not read what is copied")

    # Owners

    def owner(self, offers):
        return record.start_owner(self.desk.folder, offers, self.desk.log)

    @staticmethod
    def kill(owner):
        """Ends without a word to anybody."""
        owner.process.kill()
        owner.process.wait()

    def unique(self, text):
        return f"{text} of {self.name} {time.monotonic():.3f}".encode()

    def copy_and_end(self, case, offers):
        mark = self.desk.mark()
        owner = self.owner(offers)
        need("copy at the phone", lambda: self.desk.clips_since(mark), 10)
        wait(lambda: False, READS_SECONDS)
        asked = record.requests(owner)
        self.kill(owner)
        wait(screen.targets, KEEPS_SECONDS)
        self.recorder.took_over(case, self.recorder.kept(offers), asked)
        return mark

    def leave_older_text(self):
        self.copy_and_end("", {"UTF8_STRING": self.unique("older text")})
        wait(lambda: False, SETTLES_SECONDS)

    def from_the_phone(self, command):
        self.desk.send(command)
        wait(lambda: False, SETTLES_SECONDS)

    # What has come of it

    def settled(self, mark, expected, is_kept):
        """Waits until what could come back has."""
        wait(lambda: False, SETTLES_SECONDS)
        clips = self.desk.clips_since(mark)
        what = f"{len(clips)} to the phone"
        if len(clips) > expected:
            what += ": " + "; ".join(described(clip) for clip in clips)
        verdict = RIGHT if len(clips) == expected else OTHER if len(clips) > expected else NOTHING
        return {"verdict": verdict, "what": f"{what}; {'kept' if is_kept() else 'lost'}"}

    @staticmethod
    def text_kept(text):
        """Line ends may differ."""
        return lambda: text.split() == screen.contents("UTF8_STRING").split()

    @staticmethod
    def image_kept():
        return any(target.startswith("image/") for target in screen.targets())

    # Cases

    def phone_sends(self):
        mark = self.desk.mark()
        for command in (f"text {self.unique('sent').decode()}", "url https://example.org/mill?a=1",
                        "strings bread | cheese | apples", f"image {self.material.sent_png}",
                        f"image {self.material.sent_jpeg}"):
            self.from_the_phone(command)
        clips = self.desk.clips_since(mark)
        return {"verdict": OTHER if clips else RIGHT, "what": f"{len(clips)} came back"
                + ("; ".join(": " + described(clip) for clip in clips))}

    def text_ends(self):
        text = self.unique("two\r\nlines")
        mark = self.copy_and_end("text", {"UTF8_STRING": text, "text/plain": text})
        return self.settled(mark, 1, self.text_kept(text))

    def styled_ends(self):
        text = self.unique("styled")
        mark = self.copy_and_end("styled", {"text/html": b"<b>" + text + b"</b>",
                                            "UTF8_STRING": text})
        return self.settled(mark, 1, self.text_kept(text))

    def image_ends(self):
        self.leave_older_text()
        mark = self.copy_and_end("image", {"image/png": self.material.sent_png.read_bytes()})
        return self.settled(mark, 1, self.image_kept)

    def image_ends_after_phone(self):
        self.from_the_phone(f"text {self.unique('from the phone').decode()}")
        mark = self.copy_and_end("", {"image/png": self.material.png.read_bytes()})
        return self.settled(mark, 1, self.image_kept)

    def gtk(self, kind, what, is_kept):
        self.leave_older_text()
        mark = self.desk.mark()
        program = Program("gtk", [sys.executable, str(GTK_OWNER), kind, what], self.desk.log)
        try:
            program.wait_for("ready", lambda line: line == "ready")
            need("copy at the phone", lambda: self.desk.clips_since(mark), 10)
            wait(lambda: False, READS_SECONDS)
            program.tell("quit")
            need("end of the program", lambda: program.process.poll() is not None, STORES_SECONDS)
        finally:
            program.stop()
        return self.settled(mark, 1, is_kept)

    def gtk_text_quits(self):
        text = self.unique("two\nlines")
        return self.gtk("text", text.decode(), self.text_kept(text))

    def gtk_image_quits(self):
        return self.gtk("image", str(self.material.sent_jpeg), self.image_kept)

    def secret_ends(self):
        self.from_the_phone(f"text {self.unique('from the phone').decode()}")
        mark = self.desk.mark()
        offers = {"UTF8_STRING": b"hunter2", "x-kde-passwordManagerHint": b"secret"}
        owner = self.owner(offers)
        wait(lambda: False, SETTLES_SECONDS)
        asked = record.requests(owner)
        self.kill(owner)
        wait(screen.targets, KEEPS_SECONDS)
        self.recorder.took_over("secret", self.recorder.kept(offers), asked)
        return self.settled(mark, 0, lambda: b"hunter2" in screen.contents("UTF8_STRING"))

    def agent_quits(self, case, command, is_kept, patience=0):
        self.from_the_phone(command)
        wait(lambda: False, patience)
        offers = record.offered(self.desk.folder.parent)
        seconds = self.desk.stop_agent()
        wait(screen.targets, KEEPS_SECONDS)
        self.recorder.took_over(case, offers, [])
        kept_then = is_kept()
        mark = self.desk.mark()
        self.desk.start_agent()
        result = self.settled(mark, 0, is_kept)
        if result["verdict"] == RIGHT and not kept_then:
            result["verdict"] = NOTHING
        result["what"] += f"; {'kept' if kept_then else 'lost'} at the end, after {seconds:.1f} s"
        return result

    def agent_quits_text(self):
        text = self.unique("from the phone, the last")
        return self.agent_quits("ours, text", f"text {text.decode()}", self.text_kept(text))

    def agent_quits_image(self):
        return self.agent_quits("ours, image", f"image {self.material.sent_png}", self.image_kept)

    def agent_quits_photo(self):
        return self.agent_quits("", f"image {self.material.photo}", self.image_kept,
                                READS_PHOTO_SECONDS)


class Recorder:
    """Keeps what a manager asks an owner for, and what it offers when the owner has gone."""

    def __init__(self, name, folder, desk_folder, version):
        self.name = name
        self.folder = folder
        self.desk_folder = desk_folder
        self.found = {"manager": name, "version": version, "takeovers": {}}

    def kept(self, offers):
        return [record.kept(target, data, self.desk_folder) for target, data in offers.items()]

    def took_over(self, case, offered, asked):
        if self.folder and case:
            self.found["takeovers"][case] = {
                "offered": offered, "asked": asked,
                "afterwards": record.offered(self.desk_folder)}

    def write(self):
        if not self.folder or not self.found["takeovers"]:
            return
        record.write(self.folder, f"manager {self.name}", self.found)
