#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The unit of clipmule-web in a systemd of a user of its own: it starts, with all that the unit takes away from it,
and does its work. An option that a user's systemd cannot follow ends the unit before the program runs.

Needs root: makes namespaces with a network and control groups of their own. CLIPMULE_BIN says where the program is.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.request

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
from page import Page  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

INSIDE = "CLIPMULE_UNIT_INSIDE"
USER = 47113
ADDRESS = "10.77.0.1"
MANAGER = "/usr/lib/systemd/systemd"
GROUPS = "/sys/fs/cgroup/systemd"
# The first process of the namespaces, as root; then the user's.
PREPARE = f"""set -eu
mount --make-rprivate /
mount -t proc proc /proc
mount -t tmpfs -o mode=0755 run /run
mkdir -p /run/user/{USER} /run/systemd/system
umount -R /sys/fs/cgroup
mount -t tmpfs groups /sys/fs/cgroup
mkdir {GROUPS}
mount -t cgroup -o none,name=systemd systemd {GROUPS} || exit 77
mkdir -p {GROUPS}/clipmule-unit-test
echo $$ > {GROUPS}/clipmule-unit-test/cgroup.procs
chown -R {USER}:{USER} /run/user/{USER} {GROUPS}/clipmule-unit-test "$HOME"
chmod 700 /run/user/{USER}
ip link set lo up
ip link add d0 type veth peer name d1
ip link set d0 up
ip link set d1 up
ip addr add {ADDRESS}/24 dev d0
exec setpriv --reuid {USER} --regid {USER} --clear-groups "$@"
"""


def systemctl(*words):
    return subprocess.run(["systemctl", "--user", *words], capture_output=True, text=True, timeout=PATIENCE_SECONDS,
                          check=False)


class UnitTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.program = str(pathlib.Path(os.environ["CLIPMULE_BIN"]) / "clipmule-web")
        units = pathlib.Path(os.environ["HOME"]) / ".config/systemd/user"
        units.mkdir(parents=True)
        unit = (ROOT / "packaging/clipmule-web.service.in").read_text(encoding="utf-8")
        cls.unit = units / "clipmule-web.service"
        cls.unit.write_text(unit.replace("@web_unit@", cls.program), encoding="utf-8")
        # Nothing else is started.
        (units / "default.target").write_text("[Unit]\nDescription=Test\n", encoding="utf-8")
        cls.manager = subprocess.Popen([MANAGER, "--user"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.stop_manager)
        until("user's systemd", lambda: systemctl("is-system-running").stdout.strip() in ("running", "degraded"))

    @classmethod
    def stop_manager(cls):
        cls.manager.terminate()
        cls.manager.wait(timeout=PATIENCE_SECONDS)

    def ask(self, *words):
        done = subprocess.run([self.program, *words], capture_output=True, text=True, timeout=PATIENCE_SECONDS,
                              check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def state(self, name):
        return systemctl("show", "--property", name, "--value", "clipmule-web").stdout.strip()

    def test_is_well_written(self):
        done = subprocess.run(["systemd-analyze", "verify", "--user", "--man=no", str(self.unit)],
                              capture_output=True, text=True, timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))

    def test_does_its_work(self):
        started = systemctl("start", "clipmule-web")
        self.assertEqual(started.returncode, 0, started.stderr)
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
        process = pathlib.Path("/proc") / self.state("MainPID")
        status = dict(line.split(":\t") for line in (process / "status").read_text(encoding="ascii").splitlines()
                      if ":\t" in line)
        self.assertEqual((status["NoNewPrivs"], status["Seccomp"], status["Umask"]), ("1", "2", "0077"))
        systemctl("restart", "clipmule-web")
        # Of all commands this one alone never takes the folder, which would keep the unit from it.
        until("code", lambda: subprocess.run([self.program, "code"], capture_output=True, check=False).stdout)
        self.assertIn("Page", self.ask("list"))
        self.ask("revoke", "Page")
        self.assertEqual(self.ask("list"), "")
        self.assertEqual((self.state("ActiveState"), self.state("NRestarts")), ("active", "0"))


def main():
    if INSIDE in os.environ:
        unittest.main(verbosity=2)
    if os.geteuid() != 0 or not shutil.which("setpriv") or not os.path.exists(MANAGER):
        print("needs root and systemd: skipped")
        return 77
    with tempfile.TemporaryDirectory() as home:
        return subprocess.run(
            ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--cgroup", "--net", "bash", "-c", PREPARE, "-",
             sys.executable, __file__, *sys.argv[1:]], check=False,
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8", "HOME": home, INSIDE: "1",
                 "XDG_RUNTIME_DIR": f"/run/user/{USER}", "XDG_CONFIG_DIRS": "/nowhere",
                 "CLIPMULE_BIN": os.environ["CLIPMULE_BIN"]}).returncode


if __name__ == "__main__":
    sys.exit(main())
