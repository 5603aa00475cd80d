#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The unit of clipmule-sync in a systemd of a user of its own, with that user's bus and a display: it comes and goes with
the session, is started again after a crash, and not where the display is gone.

Needs root, as user_systemd.py tells. CLIPMULE_BIN says where the programs are.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from user_systemd import ROOT, RUNTIME, UnitTestCase, main, systemctl  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

PREFERENCES = pathlib.Path(os.environ["CLIPMULE_BIN"]) / "clipmule-preferences"
NAME = "com.zendrik.ClipmuleSync"
DISPLAY = ("DISPLAY", "XAUTHORITY")
# How the bus is started there, and what desktops have as their session. A unit that nothing names is forgotten when it
# has ended, and how it did.
OTHERS = {
    "default.target": "[Unit]\nDescription=Test\nAfter=clipmule-sync.service\n",
    "dbus.socket": "[Unit]\nDescription=Bus\n[Socket]\nListenStream=%t/bus\n",
    "dbus.service": "[Unit]\nDescription=Bus\nRequires=dbus.socket\n[Service]\nType=notify\nExecStart=/usr/bin/dbus-daemon "
                    "--session --address=systemd: --nofork --nopidfile\n",
    "test-session.target": "[Unit]\nDescription=Session\nBindsTo=graphical-session.target\n",
}


class UnitTest(UnitTestCase):
    name = "clipmule-sync"
    placeholder = "@agent_unit@"
    others = OTHERS

    @classmethod
    def setUpClass(cls):
        # Systemd is there before the display, which a session tells it of.
        cls.display = {name: os.environ.pop(name) for name in DISPLAY}
        os.environ.update({"XDG_RUNTIME_DIR": RUNTIME, "DBUS_SESSION_BUS_ADDRESS": f"unix:path={RUNTIME}/bus"})
        super().setUpClass()
        systemctl("start", "dbus.socket", "dbus.service")
        # A first start without a phone shows a window.
        subprocess.run([PREFERENCES, "pair", "Anna", "--wait", "0"], check=True, capture_output=True,
                       timeout=PATIENCE_SECONDS)

    def setUp(self):
        # Each test starts it; so many at once are none of a session's.
        systemctl("reset-failed", "clipmule-sync")
        self.control("set-environment", *(f"{name}={value}" for name, value in self.display.items()))
        self.addCleanup(systemctl, "unset-environment", *DISPLAY)
        self.addCleanup(systemctl, "stop", "clipmule-sync", "test-session.target")

    def agent_runs(self):
        told = subprocess.run([PREFERENCES, "status", "--json"], capture_output=True, text=True, check=False,
                              timeout=PATIENCE_SECONDS).stdout
        return json.loads(told)["agentRuns"]

    def owner(self):
        """The process that has the agent's name, as the bus knows it."""
        told = subprocess.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/",
                               "--method", "org.freedesktop.DBus.GetConnectionUnixProcessID", NAME],
                              capture_output=True, text=True, check=False, timeout=PATIENCE_SECONDS).stdout
        return told.strip("(,)\n").replace("uint32 ", "")

    def assert_has_ended_well(self):
        until("end", lambda: self.state("ActiveState") not in ("active", "deactivating"))
        self.assertEqual([self.state(name) for name in ("ActiveState", "Result", "ExecMainCode", "ExecMainStatus")],
                         ["inactive", "success", str(os.CLD_EXITED), "0"])
        self.assertFalse(self.agent_runs())

    def test_is_well_written(self):
        self.assert_is_well_written()

    def test_comes_and_goes_with_the_session(self):
        self.control("enable", "clipmule-sync")
        self.addCleanup(systemctl, "disable", "clipmule-sync")
        self.assertFalse(self.agent_runs())
        self.control("start", "test-session.target")
        until("start", lambda: self.state("ActiveState") == "active")
        pid = self.state("MainPID")
        self.assertEqual(self.owner(), pid)
        self.assertTrue(self.agent_runs())
        command = pathlib.Path(f"/proc/{pid}/cmdline").read_text(encoding="utf-8").split("\0")
        self.assertEqual(command, [self.program, "--login", ""])
        self.assertEqual(self.process_status()["NoNewPrivs"], "1")
        # The desktop's own entry may start it, too.
        again = subprocess.run([self.program, "--login"], capture_output=True, text=True, check=False,
                               env={**os.environ, **self.display}, timeout=PATIENCE_SECONDS)
        self.assertEqual((again.returncode, "already running" in again.stdout), (0, True))
        self.control("stop", "test-session.target")
        self.assert_has_ended_well()

    def test_is_stopped(self):
        self.control("start", "clipmule-sync")
        # By then it has its name, and with it all that goes by it.
        self.assertTrue(self.agent_runs())
        self.control("stop", "clipmule-sync")
        self.assert_has_ended_well()

    def test_is_started_again_after_a_crash(self):
        self.control("start", "clipmule-sync")
        before = self.state("MainPID")
        os.kill(int(before), signal.SIGSEGV)
        until("second start", lambda: self.state("MainPID") not in (before, "0") and
              self.state("ActiveState") == "active")
        self.assertEqual(self.owner(), self.state("MainPID"))

    def test_is_not_started_again_without_a_display(self):
        self.control("start", "clipmule-sync")
        self.control("unset-environment", *DISPLAY)
        os.kill(int(self.state("MainPID")), signal.SIGSEGV)
        until("second try", lambda: self.state("ConditionResult") == "no" or
              self.state("Result") == "exec-condition")
        self.assertEqual((self.state("ActiveState"), self.state("MainPID")), ("inactive", "0"))
        self.assertFalse(self.agent_runs())


if __name__ == "__main__":
    sys.exit(main(__file__, wrapper=[ROOT / "scripts/private-desktop"]))
