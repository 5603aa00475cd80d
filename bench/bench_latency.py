#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""How long a copy takes to the other side and back, beside KDE Connect, and what both cost at rest.

Two hosts "a" and "b" of scripts/private-network-two. KDE Connect runs on both, each with an X server;
the agent runs on "a" with a third one, and latency-phone on "b". latency-client is the one client of all
three displays and holds the pipes of the phone, so that all times are of one clock. The systems take turns. --bin says where the programs are, --json where the figures go.
"""

import argparse
import json
import os
import pathlib
import random
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
sys.path.insert(0, str(ROOT / "bench"))
import private_network as network  # noqa: E402
from bench_idle import Process, SETTLING_SECONDS, print_table  # noqa: E402
from programs import Program, StepFailed, until  # noqa: E402

INSIDE = "CLIPMULE_BENCH_INSIDE"
DAEMON = "/usr/lib/x86_64-linux-gnu/libexec/kdeconnectd"
OURS, PEER = "clipmule", "kdeconnect"
PHONE = "Bench"
# Copies of one system lie at least so far apart, and a random part more: a fixed pace would keep step with
# a timer of theirs.
PAUSE_SECONDS, RANDOM_SECONDS = 1.0, 0.6
# Name, bytes, and copies in each direction. A line to the phone has at most 1 MiB.
SIZES = (("20 B", 20, 120), ("10 kB", 10_000, 60), ("1 MB", 1_000_000, 40))
# A request for pairing that nothing came of is made again.
REQUEST_SECONDS = 8
DISPLAYS = {"a": ":91", "b": ":92", "desk": ":93"}
WAYS = {OURS: {"to the other side": ("desk", "phone"), "to the desk": ("phone", "desk")},
        PEER: {"to the other side": ("a", "b"), "to the desk": ("b", "a")}}


class Started:
    """What was started, to be ended in reverse."""

    def __init__(self, folder, log):
        self.folder = pathlib.Path(folder)
        self.log = log
        self.processes = []

    def start(self, host, command, environment=(), **pipes):
        """The process: what leads to the program becomes it."""
        pipes = {"stdin": subprocess.DEVNULL, "stdout": self.log, **pipes}
        process = subprocess.Popen(["on", host, "env", *environment, *map(str, command)], stderr=self.log,
                                   **pipes)
        self.processes.append(process)
        return process

    def stop(self):
        for process in reversed(self.processes):
            process.terminate()
            process.wait()

    def display(self, host, number):
        self.start(host, ["Xvfb", number, "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-noreset"])
        until(f"display {number}", lambda: os.path.exists(f"/tmp/.X11-unix/X{number[1:]}"))

    def account(self, host, name, number):
        """The environment of somebody who is at home there: folders, a display and a bus that starts nothing."""
        home = self.folder / name
        environment = {"HOME": home, "DISPLAY": number, "QT_QPA_PLATFORM": "xcb", "LC_ALL": "C.UTF-8"}
        for variable in ("CONFIG_HOME", "DATA_HOME", "CACHE_HOME", "RUNTIME_DIR"):
            environment[f"XDG_{variable}"] = home / variable.lower()
            environment[f"XDG_{variable}"].mkdir(parents=True, mode=0o700)
        bus = home / "bus"
        (home / "bus.conf").write_text(network.bus_configuration("session", bus), encoding="ascii")
        self.start(host, ["dbus-daemon", f"--config-file={home}/bus.conf", "--nofork", "--nopidfile"])
        until("bus", bus.exists)
        environment["DBUS_SESSION_BUS_ADDRESS"] = f"unix:path={bus}"
        return [f"{variable}={value}" for variable, value in environment.items()]


def call(host, environment, path, method, *arguments):
    """Of KDE Connect over its bus, by a program of nobody; nothing when it fails."""
    done = subprocess.run(["on", host, "env", *environment, "gdbus", "call", "--session", "--dest",
                           "org.kde.kdeconnect", "--object-path", path, "--method", method, *arguments],
                          capture_output=True, text=True, check=False)
    return done.stdout.strip() if done.returncode == 0 else None


def owns_its_name(host, environment):
    # A call before that would be an answer of nobody.
    done = subprocess.run(["on", host, "env", *environment, "gdbus", "call", "--session", "--dest",
                           "org.freedesktop.DBus", "--object-path", "/", "--method",
                           "org.freedesktop.DBus.NameHasOwner", "org.kde.kdeconnect"],
                          capture_output=True, text=True, check=False)
    return "true" in done.stdout


def start_peer(started):
    """Two instances of KDE Connect that know and trust each other."""
    sides = {}
    for host, other in (("a", "10.77.0.2"), ("b", "10.77.0.1")):
        environment = started.account(host, f"kde-{host}", DISPLAYS[host])
        configuration = started.folder / f"kde-{host}" / "config_home" / "kdeconnect"
        configuration.mkdir(parents=True)
        (configuration / "config").write_text(f"[General]\nname=bench-{host}\ncustomDevices={other}\n",
                                              encoding="ascii")
        sides[host] = (environment, started.start(host, [DAEMON], environment))
        until("kdeconnectd", lambda: owns_its_name(host, environment))
    manager = "/modules/kdeconnect"

    def tell(host, path, method, *arguments):
        return call(host, sides[host][0], manager + path, f"org.kde.kdeconnect.{method}", *arguments) or ""

    of_a, of_b = (tell(host, "", "daemon.selfId").split("'")[1] for host in "ab")
    # Each looks for the other once: another look would end the connection that the first one brought.
    tell("a", "", "daemon.forceOnNetworkChange")
    until("device", lambda: of_b in tell("a", "", "daemon.devices", "true", "false")
          and of_a in tell("b", "", "daemon.devices", "true", "false"))

    asked = 0.0

    def is_requested():
        # Nothing comes of a request that is made while a connection takes the place of another.
        nonlocal asked
        if time.monotonic() > asked + REQUEST_SECONDS:
            tell("a", f"/devices/{of_b}", "device.rejectPairing")
            tell("a", f"/devices/{of_b}", "device.requestPair")
            asked = time.monotonic()
        return "true" in tell("b", f"/devices/{of_a}", "device.hasPairingRequests")

    until("request", is_requested)
    tell("b", f"/devices/{of_a}", "device.acceptPairing")
    until("pairing", lambda: "true" in tell("a", f"/devices/{of_b}", "device.isTrusted")
          and "true" in tell("b", f"/devices/{of_a}", "device.isTrusted"))
    return {f"kdeconnectd, {'desk' if host == 'a' else 'other side'}": program
            for host, (_, program) in sides.items()}


def start_ours(started, binaries):
    """The agent, its phone, and the client, which holds the phone's pipes and is on all displays."""
    to_phone, commands = os.pipe()
    events, from_phone = os.pipe()[::-1]
    client = Program("client", [str(binaries / "latency-client"), str(commands), str(from_phone),
                                *(f"{name}={number}" for name, number in DISPLAYS.items())], started.log,
                     pass_fds=[commands, from_phone])
    client.wait_for("client", lambda line: line == "ready")
    phone = started.start("b", [binaries / "latency-phone", PHONE],
                          started.account("b", "phone", ""), stdin=to_phone, stdout=events)
    environment = started.account("a", "desk", DISPLAYS["desk"])
    agent = started.start("a", [binaries / "clipmule-sync"], environment)
    started.start("a", [binaries / "clipmule-preferences", "pair", PHONE, "--wait", "0"], environment).wait()
    client.wait_for("phone", lambda line: line == "phone connected")
    return client, {"clipmule-sync": agent, "phone": phone}


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(len(values) * share))]


class Rig:
    def __init__(self, client, systems, share):
        self.client = client
        self.systems = systems
        self.last = dict.fromkeys(systems, 0.0)
        self.share = share

    def measure_one(self, system, way, size):
        pause = PAUSE_SECONDS + random.uniform(0, RANDOM_SECONDS)
        time.sleep(max(0.0, self.last[system] + pause - time.monotonic()))
        self.client.tell("measure {} {} {}".format(*WAYS[system][way], size))
        answer = self.client.wait_for("copy", lambda line: "" if line == "phone connected" else line)
        self.last[system] = time.monotonic()
        if answer.startswith("error"):
            raise StepFailed(f"{system}, {way}, {size}: {answer}")
        there, read = answer.split()
        return float(there), None if read == "-" else float(read)

    def rows(self):
        rows = []
        for way in WAYS[OURS]:
            for name, size, copies in SIZES:
                times = {system: [] for system in self.systems}
                for _ in range(max(1, round(copies * self.share))):
                    for system in self.systems:
                        times[system].append(self.measure_one(system, way, size))
                rows += [self.row(f"{way}, {name}", system, times[system]) for system in self.systems]
        return rows

    @staticmethod
    def row(case, system, times):
        there = [one[0] for one in times]
        read = [one[1] for one in times if one[1] is not None]
        return {"case": case, "side": system, "n": len(times), "min ms": round(min(there), 2),
                "p50 ms": round(statistics.median(there), 2), "p95 ms": round(percentile(there, 0.95), 2),
                "p99 ms": round(percentile(there, 0.99), 2),
                "read p50 ms": round(statistics.median(read), 2) if read else None,
                "read p95 ms": round(percentile(read, 0.95), 2) if read else None}


def rest(processes, seconds, case):
    """All of them in the same minute, in which nothing happens."""
    before = {name: process.activity() for name, process in processes.items()}
    start = time.monotonic()
    time.sleep(seconds)
    minutes = (time.monotonic() - start) / 60
    since = {name: process.activity_since(before[name]) for name, process in processes.items()}
    return [{"case": case, "side": name,
             "wake-ups a minute": round(since[name][0] / minutes, 1),
             "processor ms a minute": round(since[name][1] / minutes, 2),
             "resident MB": round(process.resident_megabytes(), 1),
             "own MB": round(process.anonymous_megabytes(), 2)} for name, process in processes.items()]


def measure(options, log, folder):
    # On a machine without a display nobody has made it.
    pathlib.Path("/tmp/.X11-unix").mkdir(exist_ok=True)
    network.must("mount", "-t", "tmpfs", "-o", "mode=1777", "none", "/tmp/.X11-unix")
    started = Started(folder, log)
    client = None
    try:
        for name, number in DISPLAYS.items():
            started.display("b" if name == "b" else "a", number)
        client, ours = start_ours(started, options.bin)
        peers = start_peer(started) if PEER in options.systems else {}
        processes = {name: Process(process.pid) for name, process in {**peers, **ours}.items()}
        rows = []
        if options.seconds:
            time.sleep(SETTLING_SECONDS)
            rows += rest(processes, options.seconds, "at rest, before")
        if options.share > 0:
            rig = Rig(client, options.systems, options.share)
            rows += rig.rows()
            # What is on a clipboard stays in memory; that shall be next to nothing.
            for system in options.systems:
                rig.measure_one(system, "to the other side", SIZES[0][1])
        if options.seconds and options.share > 0:
            time.sleep(SETTLING_SECONDS)
            rows += rest(processes, options.seconds, "at rest, after all copies")
        return rows
    finally:
        if client:
            client.stop()
        started.stop()


def main():
    parser = argparse.ArgumentParser(description="Measures latency and rest beside KDE Connect.")
    parser.add_argument("--bin", type=pathlib.Path, default=ROOT / "build" / "release" / "bin")
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--seconds", type=int, default=60, help="length of each rest; 0 for none")
    parser.add_argument("--share", type=float, default=1.0,
                        help="of the copies; 1 takes twelve minutes, 0 measures the rest alone")
    parser.add_argument("--system", dest="systems", action="append", choices=(OURS, PEER),
                        help="one system alone")
    options = parser.parse_args()
    options.bin = options.bin.absolute()
    options.systems = options.systems or [OURS, PEER]
    if PEER in options.systems and not os.path.exists(DAEMON):
        sys.exit("kdeconnect is missing: scripts/install-packages bench")
    if INSIDE not in os.environ:
        os.environ[INSIDE] = "1"
        network_script = ROOT / "scripts" / "private-network-two"
        os.execv(network_script, [network_script, "--", *sys.argv])
    load = os.getloadavg()
    # Short: a socket's path has 107 bytes at most.
    with open(os.devnull, "w", encoding="ascii") as log, tempfile.TemporaryDirectory(dir="/tmp") as folder:
        rows = measure(options, log, folder)
    for title, own in (("copies", "n"), ("at rest", "own MB")):
        chosen = [row for row in rows if own in row]
        if chosen:
            print(title)
            print_table(chosen)
    loads = [round(one, 2) for one in (load[0], os.getloadavg()[0])]
    print(f"load before {loads[0]}, after {loads[1]}")
    if options.json:
        report = {"program": "bench_latency", "load": loads, "results": rows}
        options.json.write_text(json.dumps(report, indent=2) + "\n", encoding="utf-8")


if __name__ == "__main__":
    main()
