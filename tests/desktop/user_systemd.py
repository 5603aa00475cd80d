# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A systemd of a user of its own, for the tests of our units.

Needs root: makes namespaces with a network and control groups of their own. CLIPMULE_BIN says where the programs are.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
from programs import PATIENCE_SECONDS, until  # noqa: E402

INSIDE = "CLIPMULE_UNIT_INSIDE"
USER = 47113
RUNTIME = f"/run/user/{USER}"
# Not below /tmp, of which a unit may have one of its own.
HOME = "/run/home"
MANAGER = "/usr/lib/systemd/systemd"
GROUPS = "/sys/fs/cgroup"
# The first process of the namespaces, as root; then the user's, with a name, which a bus wants. The displays of others
# are hidden: their numbers are taken, which cannot be seen from another network. The folders below /run are made by the
# system's own systemd elsewhere; without the second no user's can take anything away from a unit. Control groups of the second version
# are all that systemd knows from 258 on; where they cannot be had, an older one does with those of the first.
PREPARE = f"""set -eu
mount --make-rprivate /
mount -t proc proc /proc
mount -t tmpfs -o mode=0755 run /run
mkdir -p {RUNTIME} {HOME} /run/systemd/system /run/systemd/mount-rootfs /tmp/.X11-unix
mount -t tmpfs -o mode=1777 displays /tmp/.X11-unix
umount -R {GROUPS}
groups={GROUPS}
mount -t cgroup2 groups $groups || {{
    mount -t tmpfs groups $groups
    groups={GROUPS}/systemd
    mkdir $groups
    mount -t cgroup -o none,name=systemd systemd $groups || exit 77
}}
mkdir -p $groups/clipmule-unit-test
echo $$ > $groups/clipmule-unit-test/cgroup.procs
chown -R {USER}:{USER} {RUNTIME} $groups/clipmule-unit-test {HOME}
chmod 700 {RUNTIME}
{{ cat /etc/passwd; echo "clipmule:x:{USER}:{USER}::{HOME}:/bin/sh"; }} > /run/passwd
mount --bind /run/passwd /etc/passwd
ip link set lo up
eval "$1"
shift
exec setpriv --reuid {USER} --regid {USER} --clear-groups "$@"
"""


def systemctl(*words):
    return subprocess.run(["systemctl", "--user", *words], capture_output=True, text=True, timeout=PATIENCE_SECONDS,
                          check=False)


class UnitTestCase(unittest.TestCase):
    # The unit's name, without ".service", which is the program's, too; and what its template has for the program.
    name = None
    placeholder = None
    # Other units, by their names.
    others = {}

    @classmethod
    def setUpClass(cls):
        cls.program = str(pathlib.Path(os.environ["CLIPMULE_BIN"]) / cls.name)
        configuration = os.environ.get("XDG_CONFIG_HOME") or os.environ["HOME"] + "/.config"
        units = pathlib.Path(configuration) / "systemd/user"
        units.mkdir(parents=True)
        unit = (ROOT / "packaging" / (cls.name + ".service.in")).read_text(encoding="utf-8")
        cls.unit = units / (cls.name + ".service")
        cls.unit.write_text(unit.replace(cls.placeholder, cls.program), encoding="utf-8")
        # Nothing else is started.
        for name, text in {"default.target": "[Unit]\nDescription=Test\n", **cls.others}.items():
            (units / name).write_text(text, encoding="utf-8")
        cls.manager = subprocess.Popen([MANAGER, "--user"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(cls.stop_manager)
        until("user's systemd", lambda: systemctl("is-system-running").stdout.strip() in ("running", "degraded"))

    @classmethod
    def stop_manager(cls):
        cls.manager.terminate()
        cls.manager.wait(timeout=PATIENCE_SECONDS)

    def control(self, *words):
        done = systemctl(*words)
        self.assertEqual(done.returncode, 0, done.stderr)

    def state(self, name):
        return systemctl("show", "--property", name, "--value", self.name).stdout.strip()

    def process_status(self):
        """What the system says of the unit's process, by name."""
        status = pathlib.Path("/proc") / self.state("MainPID") / "status"
        return dict(line.split(":\t") for line in status.read_text(encoding="ascii").splitlines() if ":\t" in line)

    def assert_is_well_written(self):
        done = subprocess.run(["systemd-analyze", "verify", "--user", "--man=no", str(self.unit)],
                              capture_output=True, text=True, timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual((done.returncode, done.stdout + done.stderr), (0, ""))


def main(script, prepare="", wrapper=()):
    """Starts the script again as that user, by the wrapper, after a command that root runs there; there, its tests."""
    if INSIDE in os.environ:
        unittest.main(verbosity=2)
    if os.geteuid() != 0 or not shutil.which("setpriv") or not os.path.exists(MANAGER):
        print("needs root and systemd: skipped")
        return 77
    return subprocess.run(
        ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--cgroup", "--net", "bash", "-c", PREPARE, "-",
         prepare, *wrapper, sys.executable, script, *sys.argv[1:]], check=False,
        env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8", "HOME": HOME, INSIDE: "1",
             "XDG_RUNTIME_DIR": RUNTIME, "XDG_CONFIG_DIRS": "/nowhere",
             "CLIPMULE_BIN": os.environ["CLIPMULE_BIN"]}).returncode
