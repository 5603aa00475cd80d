#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The unit of clipmule-web in a systemd of a user of its own: it starts, with all that the unit takes away from it,
and does its work. An option that a user's systemd cannot follow ends the unit before the program runs.

Needs root, as tests/desktop/user_systemd.py tells. CLIPMULE_BIN says where the program is.
"""

import os
import pathlib
import subprocess
import sys
import urllib.request

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "desktop"))
from user_systemd import UnitTestCase, main, systemctl  # noqa: E402
from page import Page  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

ADDRESS = "10.77.0.1"
NETWORK = f"""ip link add d0 type veth peer name d1
ip link set d0 up
ip link set d1 up
ip addr add {ADDRESS}/24 dev d0"""


class UnitTest(UnitTestCase):
    name = "clipmule-web"
    placeholder = "@web_unit@"

    def ask(self, *words):
        done = subprocess.run([self.program, *words], capture_output=True, text=True, timeout=PATIENCE_SECONDS,
                              check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def test_is_well_written(self):
        self.assert_is_well_written()

    def test_does_its_work(self):
        self.control("start", "clipmule-web")
        self.addCleanup(systemctl, "stop", "clipmule-web")
        # Its socket for other programs, in the runtime folder.
        link = until("code", lambda: subprocess.run(
            [self.program, "code"], capture_output=True, text=True, check=False).stdout).splitlines()[-1]
        self.assertTrue(link.startswith(f"http://{ADDRESS}:24736/#"), link)
        with urllib.request.urlopen(link.split("#", maxsplit=1)[0], timeout=PATIENCE_SECONDS) as answer:
            self.assertEqual(answer.status, 200)
        # Keys and settings are written, a clip that waits for the desk, and the lists without them.
        page = Page(link)
        home = pathlib.Path(os.environ["HOME"])
        settings = [path.read_bytes() for path in (home / ".config/clipmule-sync").rglob("*") if path.is_file()]
        self.assertIn(b"local/Page", b"".join(settings))
        page.send("text", b"kept")
        page.hear("waiting")
        kept = [path.read_bytes() for path in (home / ".local/state/clipmule-sync/page").rglob("*") if path.is_file()]
        self.assertIn(b"kept", b"".join(kept))
        page.close()
        # What the unit takes away is gone.
        status = self.process_status()
        self.assertEqual((status["NoNewPrivs"], status["Seccomp"], status["Umask"]), ("1", "2", "0077"))
        systemctl("restart", "clipmule-web")
        # Of all commands this one alone never takes the folder, which would keep the unit from it.
        until("code", lambda: subprocess.run([self.program, "code"], capture_output=True, check=False).stdout)
        self.assertIn("Page", self.ask("list"))
        self.ask("revoke", "Page")
        self.assertEqual(self.ask("list"), "")
        self.assertEqual((self.state("ActiveState"), self.state("NRestarts")), ("active", "0"))


if __name__ == "__main__":
    sys.exit(main(__file__, NETWORK))
