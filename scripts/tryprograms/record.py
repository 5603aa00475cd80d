# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Keeps what programs offer and ask for, so that tests can play them."""

import base64
import json
import os
import pathlib
import sys

from programs import Program as Started

from . import screen
from .screen import NotDriven, wait

# What is longer is kept by its size and its beginning, pictures by their format and their pixels.
KEPT_BYTES = 12_000
BEGINNING = 100
# A program that pastes asks for everything within this time.
ASKS_SECONDS = 3
# Answered by every owner in the same way, or not to be asked for out of curiosity.
PROTOCOL = {"TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS", "DELETE"}
# Plays as any photo, and would cost the tests half a gigabyte.
TOO_LARGE = "large photo"
OWNER = pathlib.Path(__file__).resolve().parent / "owner.py"
AGENT = "clipmule-sync"


def picture_of(data):
    """Format and size of a picture, as in "PNG 640x480"; nothing for other bytes."""
    said = screen.run("identify", "-format", "%m %wx%h\n", "-", data=data).decode(errors="replace")
    return said.split("\n")[0]


def without_paths(data, folder):
    """The folder of this run becomes $FOLDER, that of the private desktop $DESKTOP."""
    desktop = os.path.dirname(os.environ["XDG_RUNTIME_DIR"])
    for path, name in ((str(folder), "$FOLDER"), (desktop, "$DESKTOP")):
        for encoding in ("utf-8", "utf-16-le"):
            data = data.replace(path.encode(encoding), name.encode(encoding))
    return data


def kept(target, data, folder):
    """One target of an owner, as it is stored. Paths may be in its name, too."""
    name = without_paths(target.encode(), folder).decode()
    entry = {"target": name, "bytes": len(data)}
    local = without_paths(data, folder)
    is_long = len(local) > KEPT_BYTES
    if is_long and (target.startswith("image/") or "bitmap" in target):
        return {**entry, "picture": picture_of(data)}
    try:
        text = local.decode("utf-8", errors="ignore" if is_long else "strict")
    except UnicodeDecodeError:
        text = "\0"
    if is_long:
        return {**entry, "begins": text[:BEGINNING]}
    if "\0" in text:
        return {**entry, "base64": base64.b64encode(local).decode()}
    return {**entry, "text": text}


def offered(folder):
    """All that the clipboard's owner offers, in its order."""
    return [kept(target, screen.contents(target), folder) for target in screen.targets()
            if target not in PROTOCOL]


def start_owner(folder, offers, log):
    """Another program that owns the clipboard with these contents, {target: bytes}, and tells who
    asks for what."""
    listed = []
    for number, (target, data) in enumerate(offers.items()):
        path = folder / f"offer-{number}"
        path.write_bytes(data)
        listed.append({"target": target, "file": str(path)})
    table = folder / "offers.json"
    table.write_text(json.dumps(listed), encoding="utf-8")
    owner = Started("owner", [sys.executable, str(OWNER), str(table)], log)
    owner.wait_for("ready", lambda line: line == "ready")
    return owner


def requests(owner):
    """What others than the agent have asked it for since the last look, each target once, in the
    order of the first requests."""
    asked = []
    while not owner.lines.empty():
        line = owner.lines.get()
        if line and json.loads(line)["by"] != AGENT:
            asked.append(json.loads(line)["target"])
    return list(dict.fromkeys(asked))


def laid_out(value, margin=""):
    """JSON with one line for what holds nothing that holds something."""
    inner = margin + " "
    if isinstance(value, dict) and any(isinstance(each, (dict, list)) for each in value.values()):
        lines = [f"{inner}{json.dumps(key, ensure_ascii=False)}: {laid_out(each, inner)}"
                 for key, each in value.items()]
        return "{\n" + ",\n".join(lines) + f"\n{margin}}}"
    if isinstance(value, list) and any(isinstance(each, (dict, list)) for each in value):
        lines = [inner + laid_out(each, inner) for each in value]
        return "[\n" + ",\n".join(lines) + f"\n{margin}]"
    return json.dumps(value, ensure_ascii=False)


def write(folder, name, found):
    """Into a file of that name, in small letters."""
    folder.mkdir(parents=True, exist_ok=True)
    path = folder / f"{name.lower().replace(' ', '-')}.json"
    path.write_text(laid_out(found) + "\n", encoding="utf-8")


class Recorder:
    """Of one program. Without a folder it does nothing."""

    def __init__(self, program, folder, version):
        self.program = program
        self.folder = folder
        self.found = {"program": program.title, "version": version, "copies": {}, "pastes": {}}

    def copied(self, kind, has_copied):
        """The program still owns what it has copied."""
        if self.folder and has_copied and kind != TOO_LARGE:
            self.found["copies"][kind] = offered(self.program.desk.folder.parent)

    def pasted(self, kind, text):
        """Pastes once more, from an owner that offers the same as the agent and tells what it is
        asked for."""
        if not self.folder:
            return
        desk = self.program.desk
        offers = {target: screen.contents(target) for target in screen.targets()
                  if target not in PROTOCOL}
        owner = start_owner(desk.folder, offers, desk.log)
        try:
            getattr(self.program, "paste_" + kind)(text)
            requests(owner)
            self.program.screen.key(*self.program.paste_keys)
            wait(lambda: False, ASKS_SECONDS)
            self.found["pastes"][kind] = {"offered": list(offers), "asked": requests(owner)}
            self.program.instead()
        except NotDriven as reason:
            print(f"{self.program.title}: not recorded: {reason}", flush=True)
        finally:
            owner.stop()

    def write(self):
        if not self.folder or not (self.found["copies"] or self.found["pastes"]):
            return
        write(self.folder, self.program.title, self.found)
