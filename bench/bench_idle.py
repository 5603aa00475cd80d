#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the agent costs while nothing happens: wake-ups, processor time and memory, with one phone
connected, before and after a clip of 9.9 MB each way.

Starts itself again in private desktops: on an X server, and on a Wayland compositor. --bin says where the programs are, --json where the
figures go.
"""

import argparse
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
from programs import Program, clipboard, copy, item_of, until  # noqa: E402

TEXT = "text/plain;charset=utf-8"
INSIDE = "CLIPMULE_BENCH_INSIDE"
PHONE = "Bench"
TEXT_LENGTH = 9_900_000
SETTLING_SECONDS = 10
DESKTOPS = {"X11": ["--network"], "sway": ["--network", "--wayland", "sway"]}


class Process:
    def __init__(self, pid):
        self.folder = pathlib.Path(f"/proc/{pid}")

    def status(self, path, key):
        text = (path / "status").read_text(encoding="ascii")
        return int(text.split(f"\n{key}:")[1].split()[0])

    def activity(self):
        """What each thread did so far: how often it went to sleep, which is how often it woke, and
        milliseconds of processor time, to the nanosecond."""
        return {task.name: (self.status(task, "voluntary_ctxt_switches"),
                            int((task / "schedstat").read_text(encoding="ascii").split()[0]) / 1e6)
                for task in (self.folder / "task").iterdir()}

    def activity_since(self, before):
        """Wake-ups and milliseconds of all threads since then. A thread that has ended meanwhile woke
        for that; what else it did is not known any more."""
        now = self.activity()
        ended = len(before.keys() - now.keys())
        return (ended + sum(switches - before.get(task, (0, 0))[0] for task, (switches, _) in now.items()),
                sum(spent - before.get(task, (0, 0))[1] for task, (_, spent) in now.items()))

    def processor_milliseconds(self):
        """Of all threads there are."""
        return sum(spent for _, spent in self.activity().values())

    def resident_megabytes(self):
        return self.status(self.folder, "VmRSS") / 1024

    def anonymous_megabytes(self):
        return self.status(self.folder, "RssAnon") / 1024


def idle(process, case, seconds):
    start = time.monotonic()
    before = process.activity()
    time.sleep(seconds)
    passed = time.monotonic() - start
    wake_ups, processor = process.activity_since(before)
    return {
        "case": case,
        "wake-ups a second": round(wake_ups / passed, 2),
        "processor ms a second": round(processor / passed, 2),
        "resident MB": round(process.resident_megabytes(), 1),
        "of these own MB": round(process.anonymous_megabytes(), 1),
    }


def measure(binaries, seconds, log):
    phone = Program("phone", [str(binaries / "clipmule-phone"), "--name", PHONE], log)
    agent = Program("agent", [str(binaries / "clipmule-sync")], log)
    try:
        preferences = Program("preferences", [str(binaries / "clipmule-preferences"), "pair", PHONE, "--wait", "0"], log)
        preferences.process.wait()
        preferences.stop()
        phone.event("devices", lambda event: event.get("devices"))
        process = Process(agent.process.pid)
        time.sleep(SETTLING_SECONDS)
        rows = [idle(process, "one phone, before a clip", seconds)]
        text = "x" * TEXT_LENGTH
        copy(TEXT, text.encode())
        phone.event("text", lambda event: len((item_of(event) or {}).get("string", "")) == len(text))
        time.sleep(SETTLING_SECONDS)
        rows.append(idle(process, "10 s after a clip of 9.9 MB sent", seconds))
        with tempfile.NamedTemporaryFile("w", suffix=".plist", encoding="ascii") as file:
            file.write('{ 1 = { items = ( { createdBy = 1; string = "' + "y" * 9_900_000 + '"; } ); }; }')
            file.flush()
            phone.tell(f"plist {file.name}")
            until("clip", lambda: clipboard(TEXT)[:1] == b"y")
        # Given away, so that what is left is what the agent keeps for itself.
        copy(TEXT, b"small")
        time.sleep(SETTLING_SECONDS)
        rows.append(idle(process, "10 s after a clip of 9.9 MB received", seconds))
        for row in rows:
            row["above the start MB"] = round(row["resident MB"] - rows[0]["resident MB"], 1)
        return rows
    finally:
        agent.stop()
        phone.stop()


def in_desktop(side, desktop_options, script, options):
    """The rows that the script takes inside."""
    with tempfile.TemporaryDirectory() as folder:
        figures = pathlib.Path(folder) / "figures"
        subprocess.run([ROOT / "scripts" / "private-desktop", *desktop_options, script, "--bin",
                        options.bin.resolve(), "--seconds", str(options.seconds), "--json", figures],
                       env={**os.environ, INSIDE: side}, check=True, stdout=subprocess.DEVNULL)
        return json.loads(figures.read_text(encoding="utf-8"))["results"]


def print_table(rows):
    columns = list(rows[0])
    lines = [columns] + [[str(row[column]) for column in columns] for row in rows]
    widths = [max(map(len, cells)) for cells in zip(*lines)]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def main(script, description, desktops, take_measures):
    """Runs a script's measures in private desktops, one after the other, prints them as a table and
    writes them as JSON."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build" / "release" / "bin")
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=60, help="length of each observation")
    options = parser.parse_args()
    if INSIDE in os.environ:
        with open(os.devnull, "w", encoding="ascii") as log:
            rows = take_measures(options.bin, options.seconds, log)
        rows = [{"case": row.pop("case"), "side": os.environ[INSIDE], **row} for row in rows]
    else:
        rows = [row for side, desktop_options in desktops.items()
                for row in in_desktop(side, desktop_options, script, options)]
    print_table(rows)
    if options.json:
        report = {"program": pathlib.Path(script).stem, "results": rows}
        options.json.write_text(json.dumps(report, indent=2) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main(__file__, "Measures the idle agent in private desktops.", DESKTOPS, measure)
