#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the status item costs: processor time and wake-ups of the agent while nothing moves and while
data moves all the time, with the spinner turning in a tray; beside it the same traffic with the item
hidden.

The traffic are short clips that one phone sends for another, five a second: they pass through the
agent and touch no clipboard. Starts itself again in a private desktop with a tray. --bin says where
the programs are, --json where the figures go.
"""

import pathlib
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
sys.path.insert(0, str(ROOT / "bench"))
from bench_idle import SETTLING_SECONDS, Process, main  # noqa: E402
from programs import Program  # noqa: E402

CLIPS_A_SECOND = 5


def observe(process, case, seconds, step):
    start = time.monotonic()
    before = process.activity()
    beat = 0
    while time.monotonic() < start + seconds:
        step(beat)
        beat += 1
        time.sleep(max(0.0, start + beat / CLIPS_A_SECOND - time.monotonic()))
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
    def preferences(*arguments):
        subprocess.run([str(binaries / "clipmule-preferences"), *arguments], check=True, stdout=log, stderr=log)

    programs = [Program(name, [str(binaries / "clipmule-phone"), "--name", name], log) for name in ("Anna", "Ben")]
    agent = Program("agent", [str(binaries / "clipmule-sync")], log)
    programs.append(agent)
    try:
        for name in ("Anna", "Ben"):
            preferences("pair", name, "--wait", "0")
        for phone in programs[:2]:
            phone.event("devices", lambda event: len(event.get("devices", {})) == 2)
        process = Process(agent.process.pid)

        def relay(beat):
            programs[0].tell(f"relay text {beat}")

        def rest(_beat):
            pass

        time.sleep(SETTLING_SECONDS)
        rows = [observe(process, "icon in a tray, idle", seconds, rest),
                observe(process, "icon in a tray, spinner turns", seconds, relay)]
        preferences("set", "showStatus", "false")
        time.sleep(SETTLING_SECONDS)
        rows.append(observe(process, "no icon, same traffic", seconds, relay))
        return rows
    finally:
        for program in reversed(programs):
            program.stop()


if __name__ == "__main__":
    main(__file__, "Measures the status item in a private desktop.", {"agent": ["--network", "--tray"]}, measure)
