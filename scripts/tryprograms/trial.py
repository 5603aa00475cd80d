# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A program under test, and one copy or paste of it."""

from . import material
from .desk import PASTED_SECONDS
from .screen import NotDriven, wait
from .verdicts import NOT_DRIVEN, NOTHING, OTHER, RIGHT, described, refusal


class Program:
    """A program under test. copy_KIND() makes it copy and returns what must hold of the clip's first
    item; paste_KIND() puts its input in front and returns what tells whether the paste has arrived:
    a function that gives a description, or nothing yet. Kinds that it has no method for are none
    of its own."""

    title = ""
    packages = ()
    paste_keys = ("ctrl+v",)

    def __init__(self, desk, stuff):
        self.desk = desk
        self.screen = desk.screen
        self.stuff = stuff
        self.process = None

    def start(self):
        raise NotImplementedError

    def stop(self):
        if self.process:
            self.desk.end_program(self.process)

    def stays_here(self, _):
        """What a copy returns that no phone may see."""
        return False

    def instead(self):
        """What is there instead of the paste."""
        return ""

    def kinds(self, table, prefix):
        return [kind for kind in table if hasattr(self, prefix + kind.replace(" ", "_"))]


def nothing_came(is_wanted, why):
    if not why:
        # The agent knows of nothing: the program has not copied.
        return {"verdict": NOT_DRIVEN, "what": "nothing was copied"}
    return {"verdict": RIGHT if is_wanted else NOTHING, "what": why}


def try_copy(program, kind, recorder):
    """Has the program copy, and tells what came to the phone."""
    desk = program.desk
    try:
        log_mark = desk.log_size()
        mark = desk.mark()
        holds = getattr(program, "copy_" + kind.replace(" ", "_"))()
        clip, said = desk.copied(mark, log_mark)
        recorder.copied(kind, bool(clip or refusal(said)))
    except NotDriven as reason:
        return {"verdict": NOT_DRIVEN, "what": str(reason)}
    if not clip:
        return nothing_came(holds == program.stays_here, refusal(said))
    item = (clip.get("items") or [{}])[0]
    return {"verdict": RIGHT if holds(item) else OTHER, "what": described(clip)}


def command_for(kind, stuff):
    """What the phone is told, and the text that must be found afterwards."""
    text = material.unique(kind)
    return {
        "text": (f"text {text}", text),
        "url": (f"url {material.SENT_URL}#{text.split()[1]}", f"{material.SENT_URL}#{text.split()[1]}"),
        "strings": ("strings " + " | ".join((*material.SENT_LIST, text)), text),
        "png": (f"image {stuff.sent_png}", None),
        "jpeg": (f"image {stuff.sent_jpeg}", None),
    }[kind]


def try_paste(program, kind, recorder):
    """Has the phone send, and tells what became of it in the program."""
    desk = program.desk
    try:
        command, text = command_for(kind, program.stuff)
        seen = getattr(program, "paste_" + kind)(text)
        desk.send(command)
        what = wait(seen, PASTED_SECONDS, tick=0.5)
        instead = "" if what else program.instead()
        recorder.pasted(kind, text)
    except NotDriven as reason:
        return {"verdict": NOT_DRIVEN, "what": str(reason)}
    if what:
        return {"verdict": RIGHT, "what": what}
    return {"verdict": OTHER if instead else NOTHING, "what": instead or "nothing"}
