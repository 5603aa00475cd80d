# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""One program after the other, each with an agent and a phone of its own."""

import contextlib
import subprocess

from programs import StepFailed

from . import browsers, editors, files, managers, office, report, vaults, viewers
from .desk import Desk
from .material import Material
from .record import Recorder
from .screen import NotDriven, name_the_authority
from .trial import try_copy, try_paste
from .verdicts import CASES, COPIES, NOT_DRIVEN, PASTES, RIGHT

PROGRAMS = (
    browsers.Firefox, browsers.Chromium, office.Writer, office.Calc,
    files.Nautilus, files.Dolphin, files.Thunar, files.PCManFM,
    editors.Kate, editors.Gedit, editors.Mousepad, editors.XTerm, editors.XfceTerminal,
    viewers.Evince, viewers.Okular, viewers.Gimp, viewers.Inkscape, vaults.KeePassXC,
)
DESKTOP = "X11, openbox"


def version(packages):
    """Of the first package, as Debian counts; nothing where there is no Debian, and "–" of nothing."""
    if not packages:
        return "–"
    with contextlib.suppress(OSError):
        said = subprocess.run(["dpkg-query", "-W", "-f", "${Version}", packages[0]],
                              capture_output=True, text=True, check=False).stdout
        return said.partition(":")[2] or said
    return ""


class Run:
    """What was asked for on the command line, and where the results go."""

    def __init__(self, options, keep):
        self.options = options
        self.keep = keep
        self.material = Material(keep / "material")
        self.results = report.Results(options.results, DESKTOP)

    def wanted(self, title, row=""):
        """Names select programs, or one row of theirs; no name selects all."""
        if not self.options.names:
            return True
        chosen = [name.lower().partition(":") for name in self.options.names]
        return any(name == title.lower() and (not row or not only or only == row)
                   for name, _, only in chosen)

    def picture(self, name):
        """For whoever wants to see why."""
        with contextlib.suppress(OSError, subprocess.TimeoutExpired):
            subprocess.run(["import", "-window", "root", self.keep / f"{name}.png"], timeout=20,
                           check=False, capture_output=True)

    def rows(self, program):
        """What is to be tried: direction, kind and the function that tries it."""
        for direction, table, attempt in (("copy", COPIES, try_copy), ("paste", PASTES, try_paste)):
            for kind in program.kinds(table, direction + "_"):
                if self.wanted(program.title, f"{direction} {kind}"):
                    yield direction, kind, attempt

    def note(self, title, direction, kind, result):
        self.results.add(title, direction, kind, result)
        row = f"{direction} {kind}"
        print(f"{title}: {row}: {result['verdict']}: {result['what']}", flush=True)
        if result["verdict"] != RIGHT:
            self.picture(f"{title} {row}".replace(" ", "-"))

    def try_rows(self, program, recorder, done):
        for direction, kind, attempt in self.rows(program):
            result = attempt(program, kind, recorder)
            if result["verdict"] == NOT_DRIVEN:
                # A busy machine shows a window before it takes keys.
                result = attempt(program, kind, recorder)
            self.note(program.title, direction, kind, result)
            done.append((direction, kind))

    def program(self, kind):
        desk = Desk(self.options.binaries, self.keep / kind.title)
        program = kind(desk, self.material)
        installed = version(program.packages)
        self.results.begin(program.title, installed)
        recorder = Recorder(program, self.options.record, installed)
        done = []
        try:
            desk.start()
            program.start()
            self.try_rows(program, recorder, done)
        except (NotDriven, StepFailed) as reason:
            for direction, row, _ in self.rows(program):
                if (direction, row) not in done:
                    self.note(program.title, direction, row, not_driven(reason))
        finally:
            recorder.write()
            # Whatever has come of it.
            with contextlib.suppress(Exception):
                program.stop()
            desk.end()

    def manager(self, name):
        desk = Desk(self.options.binaries, self.keep / name)
        installed = version(managers.MANAGERS[name].packages)
        self.results.begin(name, installed)
        recorder = managers.Recorder(name, self.options.record, self.keep, installed)
        cases = {case: what for case, what in CASES.items()
                 if self.wanted(name, f"manager {what}")}
        left = list(cases.values())
        try:
            desk.start()
            for case, result in managers.Managers(desk, self.material, name, recorder).run(cases):
                self.note(name, "manager", case, result)
                left.remove(case)
        except (NotDriven, StepFailed) as reason:
            for case in left:
                self.note(name, "manager", case, not_driven(reason))
        finally:
            recorder.write()
            desk.end()


def not_driven(reason):
    return {"verdict": NOT_DRIVEN, "what": str(reason)}


def everything(options, keep):
    """The exit status: 0 when everything was tried, whatever has come of it."""
    name_the_authority()
    run = Run(options, keep)
    for kind in PROGRAMS:
        if run.wanted(kind.title):
            run.program(kind)
            run.results.save()
    for name in managers.MANAGERS:
        if run.wanted(name):
            run.manager(name)
            run.results.save()
    report.write(options.results)
    return 0
