#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""How long a copy takes to be captured, and a received clip to be there for others, on an X server and on
a Wayland compositor; beside it what an independent program takes to copy or read the same.

Times begin when the copying program is started, and when the clip is offered. Starts itself again in
private desktops. --bin says where the programs are, --json where the figures go.
"""

import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
sys.path.insert(0, str(ROOT / "bench"))
from bench_idle import DESKTOPS, TEXT, main  # noqa: E402
from programs import Program, StepFailed, clipboard, copy  # noqa: E402

ROUNDS = 15
# What is copied after so long is fetched at once.
PAUSE_SECONDS = 0.6


def milliseconds(since, until):
    return (until - since) / 1e6


def moment(probe, word):
    return int(probe.wait_for(word, lambda line: line.partition(word + " ")[2]))


def median(values):
    return round(statistics.median(values), 1)


def measure_one(probe, case, kind, target, path):
    data = path.read_bytes()
    captured, copied, offered, read = [], [], [], []
    for number in range(ROUNDS):
        # No two copies alike, and none that is passed over as that of a moment ago.
        data = data[:-8] + f"{number:08}".encode() if kind == "text" else data + b"."
        time.sleep(PAUSE_SECONDS)
        start = time.monotonic_ns()
        copy(target, data)
        copied.append(milliseconds(start, time.monotonic_ns()))
        captured.append(milliseconds(start, moment(probe, "captured")))
        path.write_bytes(data)
        start = time.monotonic_ns()
        probe.tell(f"offer {kind} {path}")
        offered.append(milliseconds(start, moment(probe, "offered")))
        start = time.monotonic_ns()
        if clipboard(target) != data:
            raise StepFailed("what was read is not what was offered")
        read.append(milliseconds(start, time.monotonic_ns()))
    return {"case": case, "copy to captured ms": median(captured), "of these the copier's ms": median(copied),
            "received to offered ms": median(offered), "then read by another ms": median(read)}


def measure(binaries, _, log):
    probe = Program("probe", [str(binaries / "clipboard-probe")], log)
    try:
        time.sleep(PAUSE_SECONDS)
        with tempfile.TemporaryDirectory() as folder:
            inputs = [("20 bytes", "text", TEXT, b"x" * 20), ("1 MB", "text", TEXT, b"x" * 1_000_000),
                      ("picture of 9.9 MB", "image", "image/png", noise(folder))]
            rows = []
            for case, kind, target, data in inputs:
                path = pathlib.Path(folder) / "input"
                path.write_bytes(data)
                rows.append(measure_one(probe, case, kind, target, path))
            return rows
    finally:
        probe.stop()


def noise(folder):
    """A picture that cannot be packed: 1815 x 1815 points of three bytes."""
    path = pathlib.Path(folder) / "noise.png"
    subprocess.run(["convert", "-size", "1815x1815", "-depth", "8", "xc:", "+noise", "Random", str(path)],
                   check=True)
    return path.read_bytes()


if __name__ == "__main__":
    main(__file__, "Measures the clipboard in private desktops.", DESKTOPS, measure)
