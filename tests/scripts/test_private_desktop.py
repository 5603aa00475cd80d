#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What scripts/private-desktop promises to the tests that run in it."""

import os
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
SCRIPTS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "..", "scripts")
PRIVATE_DESKTOP = os.path.normpath(os.path.join(SCRIPTS, "private-desktop"))
SKIPPED = 77


def start(*arguments, environment=None):
    return subprocess.Popen([PRIVATE_DESKTOP, *arguments], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            env={**os.environ, **(environment or {})})


def run(*arguments, environment=None):
    process = start(*arguments, environment=environment)
    process.stdout_text, process.stderr_text = process.communicate()
    return process


def variables(text):
    return dict(line.split("=", 1) for line in text.splitlines() if "=" in line)


def runs(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="utf-8", errors="replace") as file:
            return file.read().rpartition(")")[2].split()[0] not in "ZX"
    except OSError:
        return False


class PrivateDesktop(unittest.TestCase):
    def test_the_command_gets_arguments_input_and_returns_its_status(self):
        process = start("sh", "-c", 'read line; echo "$line $1"; exit 5', "sh", "two words")
        output, _ = process.communicate("one\n")
        self.assertEqual(output, "one two words\n")
        self.assertEqual(process.returncode, 5)

    def test_a_command_that_a_signal_ends(self):
        self.assertEqual(run("sh", "-c", "kill -KILL $$").returncode, 128 + signal.SIGKILL)

    def test_a_command_that_is_not_there(self):
        process = run("no-such-command")
        self.assertEqual(process.returncode, 127)
        self.assertIn("no-such-command: not found", process.stderr_text)

    def test_no_command(self):
        self.assertEqual(run().returncode, 2)

    def test_the_home_is_private_and_gone_afterwards(self):
        process = run("sh", "-c", 'env; stat -c mode=%a "$XDG_RUNTIME_DIR"; echo x >"$HOME/file"',
                      environment={"WAYLAND_DISPLAY": "wayland-7", "QT_STYLE_OVERRIDE": "strange"})
        inside = variables(process.stdout_text)
        home = inside["HOME"]
        self.assertNotEqual(home, os.environ.get("HOME"))
        for name in ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"):
            self.assertTrue(inside[name].startswith(home + "/"), name)
        self.assertTrue(inside["XDG_RUNTIME_DIR"].startswith(os.path.dirname(home) + "/"))
        self.assertEqual(inside["mode"], "700")
        self.assertNotIn("WAYLAND_DISPLAY", inside)
        self.assertNotIn("QT_STYLE_OVERRIDE", inside)
        self.assertFalse(os.path.exists(os.path.dirname(home)))

    def test_a_window_manager_and_a_session_bus_serve_from_the_start(self):
        process = run("sh", "-c", "xprop -root _NET_SUPPORTING_WM_CHECK; gdbus call --session "
                      "--dest org.freedesktop.DBus --object-path / --method "
                      "org.freedesktop.DBus.ListNames")
        self.assertIn("window id #", process.stdout_text)
        self.assertIn("'org.freedesktop.DBus'", process.stdout_text)

    def test_what_the_bus_starts_has_the_display(self):
        start = ("printf '[D-BUS Service]\\nName=org.example.Window\\nExec=/bin/sh %s\\n' \"$HOME/window\" "
                 '>"$XDG_DATA_HOME/dbus-1/services/org.example.Window.service"; '
                 "echo 'echo \"[$DISPLAY][$WAYLAND_DISPLAY]\" >\"$HOME/seen\"; exit 1' >\"$HOME/window\"; "
                 "gdbus call --session --dest org.freedesktop.DBus --object-path / --method "
                 "org.freedesktop.DBus.StartServiceByName org.example.Window 0 >&2; "
                 'cat "$HOME/seen"; echo "[$DISPLAY][$WAYLAND_DISPLAY]"')
        for options, form in ((), r"\[:\d+\]\[\]"), (("--wayland", "sway"), r"\[\]\[.+\]"):
            process = run(*options, "--", "sh", "-c", start)
            by_bus, in_session = process.stdout_text.splitlines()
            self.assertRegex(in_session, f"^{form}$")
            self.assertEqual(by_bus, in_session, process.stderr_text)

    def test_a_compositor_instead_of_the_x_server(self):
        show = 'echo "[$DISPLAY]"; wl-paste --list-types 2>&1'
        process = run("--wayland", "sway", "--", "sh", "-c", show)
        self.assertIn(process.stdout_text, ("[]\nNo selection\n", "[]\nNothing is copied\n"))
        process = run("--wayland", "sway", "--xwayland", "--", "sh", "-c",
                      show + "; xprop -root _NET_SUPPORTING_WM_CHECK")
        self.assertRegex(process.stdout_text, r"^\[:\d+\]\n(No selection|Nothing is copied)\n.*window id #")

    def test_what_does_not_go_together(self):
        for options in (("--wayland", "sway", "--tray"), ("--xwayland",), ("--wayland", "other")):
            self.assertEqual(run(*options, "--", "true").returncode, 2, options)

    def test_the_machines_system_bus_is_out_of_reach(self):
        call = ["gdbus", "call", "--system", "--dest", "org.freedesktop.DBus", "--object-path", "/",
                "--method", "org.freedesktop.DBus.ListNames"]
        unset = {"DBUS_SYSTEM_BUS_ADDRESS": ""}
        self.assertNotEqual(run(*call, environment=unset).returncode, 0)
        inside = variables(run("env", environment=unset).stdout_text)
        self.assertIn(os.path.dirname(inside["HOME"]), inside["DBUS_SYSTEM_BUS_ADDRESS"])
        named = {"DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/made/by/the/caller"}
        inside = variables(run("env", environment=named).stdout_text)
        self.assertEqual(inside["DBUS_SYSTEM_BUS_ADDRESS"], "unix:path=/made/by/the/caller")
        own = run("--system-bus", *call, environment=unset)
        self.assertEqual(own.stdout_text, "(['org.freedesktop.DBus', ':1.0'],)\n")

    @unittest.skipUnless(shutil.which("trayer"), "needs trayer, which newer Debians do not have")
    def test_the_tray_is_there_before_the_command_starts(self):
        listing = ("xwininfo", "-root", "-tree")
        self.assertIn('"trayer"', run("--tray", *listing).stdout_text)
        self.assertNotIn('"trayer"', run(*listing).stdout_text)

    def test_strangers_are_refused_by_the_x_server(self):
        process = run("env", "XAUTHORITY=/dev/null", "xprop", "-root")
        self.assertNotEqual(process.returncode, 0)

    def test_desktops_side_by_side_have_their_own_clipboards(self):
        # Each holds its clipboard until all have set theirs.
        hold = "printf %s \"$1\" | xclip -selection clipboard; echo set; read go; " \
               "xclip -selection clipboard -o"
        desktops = [start(*options, "sh", "-c", hold, "sh", f"clip {number}")
                    for number, options in enumerate([[], [], ["--network"], ["--network"]])]
        first_lines = [desktop.stdout.readline() for desktop in desktops]
        for number, (desktop, first) in enumerate(zip(desktops, first_lines)):
            output, _ = desktop.communicate("go\n")
            if desktop.returncode != SKIPPED or number < 2:
                self.assertEqual((first, output), ("set\n", f"clip {number}"))

    def test_what_the_command_leaves_running_ends_with_it(self):
        process = run("sh", "-c", 'setsid sleep 1000 & echo $!; (trap "" TERM; setsid sleep 1000) & '
                      'echo $!; echo text | xclip -selection clipboard; pgrep -n -x xclip')
        pids = [int(line) for line in process.stdout_text.split()]
        self.assertEqual(len(pids), 3)
        for pid in pids:
            self.assertFalse(runs(pid), pid)
        self.assertEqual(process.stderr_text, "")

    def test_a_signal_reaches_the_command_and_everything_is_tidied_up(self):
        for options in ([], ["--network"]):
            with self.subTest(options):
                process = start(*options, "sh", "-c",
                                'trap "echo asked; exit 3" TERM; echo "$HOME"; sleep 1000 & wait')
                home = process.stdout.readline().strip()
                if not home and process.wait() == SKIPPED:
                    self.skipTest(process.communicate()[1])
                process.send_signal(signal.SIGTERM)
                output, _ = process.communicate()
                self.assertEqual(output, "asked\n")
                self.assertEqual(process.returncode, 3)
                self.assertFalse(os.path.exists(os.path.dirname(home)))

    def test_nothing_outlives_a_killed_desktop(self):
        process = start("sh", "-c", 'echo "$HOME"; pgrep -P $PPID | xargs; read line')
        folder = os.path.dirname(process.stdout.readline().strip())
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        pids = [int(pid) for pid in process.stdout.readline().split()]
        # Two servers, a window manager, the command, and the one who tidies up.
        self.assertGreaterEqual(len(pids), 5)
        process.kill()
        process.communicate()
        # The kernel's signal may come a moment after the parent's end is known.
        for pid in pids:
            while runs(pid):
                os.sched_yield()
        self.assertFalse(os.path.exists(folder))

    def test_the_private_network_has_loopback_and_a_responder_only(self):
        process = run("--network", "sh", "-c", "ls /sys/class/net; ip -oneline link | cut -d: -f2; "
                      "gdbus call --system --dest org.freedesktop.Avahi --object-path / "
                      "--method org.freedesktop.Avahi.Server.GetHostName")
        if process.returncode == SKIPPED:
            self.assertIn("no private network", process.stderr_text)
            self.skipTest(process.stderr_text)
        self.assertIn(" lo\n('", process.stdout_text)

    def test_a_private_network_leaves_the_displays_of_others_alone(self):
        # There every number looks free, and the server takes over the socket file of its number.
        run("true")  # makes the folder where there is none
        with tempfile.NamedTemporaryFile(dir="/tmp/.X11-unix", prefix="X-of-another-"):
            process = run("--network", "sh", "-c", 'echo "${DISPLAY#:}"; ls /tmp/.X11-unix')
        if process.returncode == SKIPPED:
            self.skipTest(process.stderr_text)
        number, *sockets = process.stdout_text.split()
        self.assertEqual(sockets, ["X" + number])

    def test_a_program_that_is_missing_is_named(self):
        folder = os.path.join(os.environ.get("TMPDIR", "/tmp"), "no-programs-here")
        process = run("true", environment={"PATH": folder})
        self.assertEqual(process.returncode, 125)
        self.assertIn("cannot start dbus-daemon", process.stderr_text)


if __name__ == "__main__":
    os.umask(stat.S_IWGRP | stat.S_IWOTH)
    unittest.main()
