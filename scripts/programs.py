# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Started programs whose output can be waited for, and the clipboard seen from outside; for the demo
and the desktop tests."""

import contextlib
import json
import os
import queue
import subprocess
import threading
import time

# For one step; a busy machine with sanitizers takes seconds where an idle one takes milliseconds.
PATIENCE_SECONDS = 60


class StepFailed(Exception):
    pass


class Program:
    """A started program whose output lines can be waited for."""

    def __init__(self, name, command, log, pass_fds=()):
        self.name = name
        self.lines = queue.Queue()
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=log, text=True, bufsize=1, pass_fds=pass_fds)
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        with self.process.stdout:
            for line in self.process.stdout:
                self.lines.put(line.rstrip("\n"))
        self.lines.put(None)

    def tell(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()

    def wait_for(self, what, accepts, patience=PATIENCE_SECONDS):
        deadline = time.monotonic() + patience
        while True:
            try:
                line = self.lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                raise StepFailed(f"{self.name}: no {what} within {patience} s") from None
            if line is None:
                raise StepFailed(f"{self.name} ended while we waited for {what}")
            answer = accepts(line)
            if answer:
                return answer

    def forget_lines(self):
        """Drops the lines that nobody has waited for."""
        with contextlib.suppress(queue.Empty):
            while self.lines.get_nowait() is not None:
                pass

    def event(self, what, accepts):
        """Waits for a JSON line that the function accepts."""
        return self.wait_for(what, lambda line: accepts(json.loads(line)))

    def no_event(self, what, rejects, seconds):
        """Fails when a JSON line that the function rejects comes within so many seconds. What does
        not come is told by nothing but time: it takes at least as long as what it would follow
        from, and a machine that is too slow makes it pass."""
        deadline = time.monotonic() + seconds
        while True:
            try:
                line = self.lines.get(timeout=max(0.0, deadline - time.monotonic()))
            except queue.Empty:
                return
            if line is None:
                raise StepFailed(f"{self.name} ended")
            if rejects(json.loads(line)):
                raise StepFailed(f"{self.name}: {what}: {line[:500]}")

    def stop(self):
        """Ends the program, if it has not ended, and returns its exit status."""
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(timeout=PATIENCE_SECONDS)
        self.reader.join()
        with contextlib.suppress(BrokenPipeError):
            self.process.stdin.close()
        return self.process.returncode


def item_of(event):
    """The first item of a received clip; nothing for another event."""
    return event["clip"]["items"][0] if event.get("event") == "clip" else None


def clipboard_program():
    """What copies and reads here, independent of all that is ours."""
    return "wl-copy" if "WAYLAND_DISPLAY" in os.environ else "xclip"


def clipboard(target):
    command = {"xclip": ["xclip", "-selection", "clipboard", "-o", "-t", target],
               "wl-copy": ["wl-paste", "--no-newline", "--type", target]}[clipboard_program()]
    return subprocess.run(command, capture_output=True, timeout=PATIENCE_SECONDS, check=False).stdout


def copy(target, data):
    command = {"xclip": ["xclip", "-selection", "clipboard", "-i", "-t", target],
               "wl-copy": ["wl-copy", "--type", target]}[clipboard_program()]
    # It stays as the owner, and would keep an output that somebody reads to its end.
    subprocess.run(command, input=data, timeout=PATIENCE_SECONDS, check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def until(what, condition):
    """Asks again and again, for what tells nobody when it changes."""
    deadline = time.monotonic() + PATIENCE_SECONDS
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise StepFailed(f"no {what} within {PATIENCE_SECONDS} s")
        time.sleep(0.05)
