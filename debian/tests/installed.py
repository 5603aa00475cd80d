# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the tests of the installed packages share: a session's start, a phone, and clips both ways."""

import glob
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
from programs import PATIENCE_SECONDS, Program, clipboard, copy, item_of, until  # noqa: E402

PHONE = "Anna's Phone"


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL, timeout=5 * PATIENCE_SECONDS, **options)
    if done.returncode != 0:
        sys.exit(f"{command}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def check(what, is_so):
    print(("ok      " if is_so else "FAILED  ") + what, flush=True)
    if not is_so:
        sys.exit(1)


def processes(program):
    """Those of a program, by what they run."""
    found = {}
    for folder in glob.glob("/proc/[0-9]*"):
        try:
            path = os.readlink(folder + "/exe")
        except OSError:
            continue
        if re.fullmatch(rf"/usr/bin/{program}( \(deleted\))?", path):
            found[int(folder.rsplit("/", 1)[1])] = path
    return found


def agents():
    return processes("clipmule-sync")


def end(program, number):
    for pid in processes(program):
        os.kill(pid, number)
    until(f"end of {program}", lambda: not processes(program))


def status():
    return json.loads(run("clipmule-preferences", "status", "--json"))


def doctor():
    """What it finds out, whether there are problems or not."""
    return subprocess.run(["clipmule-preferences", "doctor", "--wait", "0.1"], capture_output=True, text=True, check=False,
                          timeout=PATIENCE_SECONDS).stdout


def log_in(log):
    """What a session does: each entry of /etc/xdg/autostart."""
    starter = next(path for path in (*glob.glob("/usr/lib/*/openbox-xdg-autostart"),
                                     "/usr/libexec/openbox-xdg-autostart") if os.path.exists(path))
    subprocess.run([starter, "OPENBOX"], stdout=log, stderr=log, stdin=subprocess.DEVNULL, check=True)
    until("agent on the session bus", lambda: status().get("agentRuns"))


def start_phone(log, data):
    phone = Program("phone", ["clipmule-phone", "--name", PHONE, "--data", str(data)], log)
    phone.event("start", lambda event: event.get("event") == "listening")
    return phone


def wait_for_connection(phone):
    phone.event("connection", lambda event: event.get("event") == "opened")


def clip_both_ways(phone, word):
    copy("UTF8_STRING", f"{word} from the desk".encode())
    phone.event("clip", lambda event: (item_of(event) or {}).get("string") == f"{word} from the desk")
    phone.tell(f"text {word} from the phone")
    until("text on the clipboard", lambda: clipboard("UTF8_STRING") == f"{word} from the phone".encode())


def main(script, test):
    """Starts the script again inside a desktop of its own, and there the test with its home and a log."""
    inside = "CLIPMULE_INSTALLED_INSIDE"
    if inside not in os.environ:
        os.environ[inside] = "1"
        command = str(ROOT / "scripts" / "private-desktop")
        os.execv(command, [command, "--network", "--tray", script])
    home = pathlib.Path(os.environ["HOME"])
    with open(home / "log", "w", encoding="utf-8") as log:
        try:
            test(home, log)
        finally:
            log.flush()
            print("".join("    " + line for line in open(home / "log", encoding="utf-8")), file=sys.stderr)
