#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""usage: owner.py FILE

Owns the clipboard with the targets of a JSON file, [{"target": NAME, "file": PATH}, …], until it is
ended or another program takes it. Prints "ready", then a line for each request: what was asked for,
and by a window of which name.
"""

import contextlib
import json
import os
import pathlib
import sys
import threading

from Xlib import X, Xatom
from Xlib.display import Display
from Xlib.ext import res
from Xlib.protocol import event

# What one request to the server holds, with room to spare.
PIECE_BYTES = 200_000


class Owner:
    def __init__(self, offers):
        self.display = Display()
        self.atoms = {name: self.display.intern_atom(name) for name in
                      ("CLIPBOARD", "TARGETS", "MULTIPLE", "TIMESTAMP", "SAVE_TARGETS", "INCR")}
        self.offers = {self.display.intern_atom(name): data for name, data in offers.items()}
        self.pieces = {}
        self.window = self.display.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)

    def own(self):
        self.window.set_selection_owner(self.atoms["CLIPBOARD"], X.CurrentTime)
        self.display.sync()
        print("ready", flush=True)

    def name_of(self, window):
        """The program of a window, as the system calls it."""
        asked = [{"client": window.id, "mask": res.LocalClientPIDMask}]
        for client in self.display.res_query_client_ids(asked).ids:
            for pid in client.value:
                with contextlib.suppress(OSError):
                    return pathlib.Path(f"/proc/{pid}/comm").read_text(encoding="utf-8").strip()
        return ""

    def answer(self, request):
        target, where = request.target, request.property or request.target
        if target == self.atoms["TARGETS"]:
            names = [self.atoms["TARGETS"], self.atoms["TIMESTAMP"], *self.offers]
            request.requestor.change_property(where, Xatom.ATOM, 32, names)
        elif target == self.atoms["TIMESTAMP"]:
            request.requestor.change_property(where, Xatom.INTEGER, 32, [0])
        elif target in self.offers:
            self.put(request.requestor, where, target, self.offers[target])
        else:
            where = X.NONE
        request.requestor.send_event(event.SelectionNotify(
            time=request.time, requestor=request.requestor, selection=request.selection,
            target=target, property=where), propagate=False)
        self.display.flush()

    def put(self, window, where, target, data):
        if len(data) <= PIECE_BYTES:
            window.change_property(where, target, 8, data)
            return
        window.change_attributes(event_mask=X.PropertyChangeMask)
        window.change_property(where, self.atoms["INCR"], 32, [len(data)])
        self.pieces[window.id, where] = (target, data)

    def put_next(self, notified):
        key = notified.window.id, notified.atom
        if notified.state != X.PropertyDelete or key not in self.pieces:
            return
        target, data = self.pieces[key]
        notified.window.change_property(notified.atom, target, 8, data[:PIECE_BYTES])
        if data:
            self.pieces[key] = target, data[PIECE_BYTES:]
        else:
            del self.pieces[key]
        self.display.flush()

    def run(self):
        while True:
            happened = self.display.next_event()
            if happened.type == X.SelectionRequest:
                print(json.dumps({"target": self.display.get_atom_name(happened.target),
                                  "by": self.name_of(happened.requestor)}), flush=True)
                self.answer(happened)
            elif happened.type == X.PropertyNotify:
                self.put_next(happened)
            elif happened.type == X.SelectionClear:
                return


def end_with_the_caller():
    sys.stdin.read()
    sys.stdout.flush()
    # The connection goes with the process, as that of a program that was ended.
    os._exit(0)


if __name__ == "__main__":
    listed = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    owner = Owner({entry["target"]: pathlib.Path(entry["file"]).read_bytes() for entry in listed})
    threading.Thread(target=end_with_the_caller, daemon=True).start()
    owner.own()
    owner.run()
