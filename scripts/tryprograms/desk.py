# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent and the stand-in of a phone, in a private desktop."""

import contextlib
import json
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import time

from programs import Program

from .screen import NotDriven, Screen, need, wait

PHONE = "Anna's Phone"
START_SECONDS = 60
# The agent looks at the clipboard within half a second; a large picture takes a while to be reduced.
ARRIVES_SECONDS = 40
# What is not refused and has not come by then does not come.
SETTLES_SECONDS = 2.0
PASTED_SECONDS = 8


class Desk:
    """Starts everything anew in a folder, and ends it."""

    def __init__(self, binaries, folder):
        self.binaries = pathlib.Path(binaries)
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        os.environ["XDG_CONFIG_HOME"] = str(self.folder / "config")
        self.log_path = self.folder / "agent.log"
        self.log = open(self.log_path, "w", encoding="utf-8")
        self.screen = Screen()
        self.events = []
        self.started = []
        self.agent = None
        self.phone = None

    def start(self):
        self.phone = Program("phone", [str(self.binaries / "clipmule-phone"), "--name", PHONE,
                                       "--save", str(self.folder / "images")], self.log)
        self.preferences("pair", PHONE, "--wait", "0")
        self.start_agent()

    def start_agent(self):
        self.agent = Program("agent", [str(self.binaries / "clipmule-sync"), "--verbose"], self.log)
        mark = len(self.events)
        need("connection of the stand-in", lambda: self.event_since(mark, "devices"), START_SECONDS)

    def stop_agent(self):
        """Asks it to end; how long that took, in seconds."""
        begin = time.monotonic()
        self.agent.process.send_signal(signal.SIGTERM)
        self.agent.process.wait(timeout=START_SECONDS)
        return time.monotonic() - begin

    def preferences(self, *arguments):
        done = subprocess.run([self.binaries / "clipmule-preferences", *arguments],
                              capture_output=True, text=True, timeout=START_SECONDS, check=False)
        if done.returncode != 0:
            raise NotDriven(f"clipmule-preferences {arguments[0]}: {done.stderr.strip()}")

    # What the phone has been told

    def read_events(self):
        while True:
            try:
                line = self.phone.lines.get_nowait()
            except queue.Empty:
                return
            if line is None:
                raise NotDriven("the stand-in has ended")
            with contextlib.suppress(json.JSONDecodeError):
                self.events.append({"at": time.monotonic(), **json.loads(line)})

    def mark(self):
        self.read_events()
        return len(self.events)

    def event_since(self, mark, kind):
        self.read_events()
        return next((event for event in self.events[mark:] if event.get("event") == kind), None)

    def clips_since(self, mark):
        self.read_events()
        return [event["clip"] for event in self.events[mark:] if event.get("event") == "clip"
                and "clip" in event]

    def log_size(self):
        self.log.flush()
        return self.log_path.stat().st_size

    def logged_since(self, size):
        with open(self.log_path, "rb") as log:
            log.seek(size)
            return log.read().decode(errors="replace")

    def copied(self, mark, log_mark):
        """The clip that came since, or what the agent says of why there is none."""
        def settled():
            said = self.logged_since(log_mark)
            return self.clips_since(mark) or "Not sent" in said or "again" in said
        wait(settled, ARRIVES_SECONDS)
        clips = self.clips_since(mark)
        return (clips[0] if clips else None), self.logged_since(log_mark).strip()

    def send(self, command):
        """Has the phone send, and waits until the agent has typed its keys."""
        size = self.log_size()
        self.phone.tell(command)
        said = wait(lambda: "pasted" in self.logged_since(size), ARRIVES_SECONDS)
        if not said:
            raise NotDriven("the agent pasted nothing: " + self.logged_since(size)[-200:])

    # Programs under test

    def launch(self, *command, pass_fds=(), data=b"", **environment):
        """Starts a program in a group of its own; data is what it finds on its input."""
        log = open(self.folder / (pathlib.Path(command[0]).name + ".log"), "ab")
        try:
            process = subprocess.Popen([str(part) for part in command], stdout=log, stderr=log,
                                       stdin=subprocess.PIPE, start_new_session=True,
                                       pass_fds=pass_fds, env={**os.environ, **environment})
        except FileNotFoundError:
            raise NotDriven(f"{command[0]} is not installed") from None
        finally:
            log.close()
        self.started.append(process)
        with contextlib.suppress(BrokenPipeError), process.stdin:
            process.stdin.write(data)
        return process

    def window(self, kind, title="", seconds=START_SECONDS, besides=()):
        """The window of a class, and with a title, that was not there before."""
        def found():
            return next((window for window in self.screen.windows()
                         if kind.lower() in window.kind.lower()
                         and title.lower() in window.title.lower()
                         and window.number not in besides), None)
        window = need(f"window of {kind} {title}".strip(), found, seconds)
        self.screen.activate(window)
        return window

    def end_program(self, process):
        if process not in self.started:
            return
        self.started.remove(process)
        for number, seconds in ((signal.SIGTERM, 3), (signal.SIGKILL, 3)):
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, number)
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(timeout=seconds)

    def end(self):
        for process in list(self.started):
            self.end_program(process)
        for program in (self.agent, self.phone):
            if program:
                with contextlib.suppress(Exception):
                    program.stop()
        self.screen.close()
        self.log.close()


def free_folder(path):
    shutil.rmtree(path, ignore_errors=True)
    path.mkdir(parents=True)
    return path
