# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Networks for tests: user, network, mount and process namespaces of their own.

What is started in one sees neither the machine's network nor its system bus, needs no privilege,
and ends with the command: the command's parent is the first process of the namespace, and the
kernel ends all others with it. The same happens when the script outside is killed.
"""

import os
import select
import signal
import subprocess
import sys
import time

SKIPPED = 77
NO_NETWORK = 125
CANNOT_RUN = 126
NOT_FOUND = 127
READY_WITHIN_SECONDS = 60
TICK_SECONDS = 0.02
FOLDER = "/run/private-network"
NAMESPACES = ["unshare", "--user", "--map-root-user", "--net", "--mount", "--uts", "--pid",
              "--fork", "--kill-child", "--mount-proc"]

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>{kind}</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  {services}
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
"""

RESPONDER_CONFIGURATION = """[server]
allow-interfaces={interface}
use-ipv4=yes
use-ipv6={ipv6}
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
"""


class NetworkError(Exception):
    """The network cannot be made; the text says why."""


def program():
    return os.path.basename(sys.argv[0])


def say(text):
    print(f"{program()}: {text}", file=sys.stderr, flush=True)


def must(*command):
    """Runs a command of the set-up."""
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              check=False)
    except OSError as error:
        raise NetworkError(f"{command[0]}: {error.strerror}") from error
    if done.returncode != 0:
        raise NetworkError(f"{' '.join(command)}: {done.stderr.strip()}")
    return done.stdout


def wait_until(condition, what):
    deadline = time.monotonic() + READY_WITHIN_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            raise NetworkError(f"{what} took more than {READY_WITHIN_SECONDS} s")
        time.sleep(TICK_SECONDS)


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def bus_configuration(kind, socket, services_folder=""):
    """A bus that lets everybody do everything; it can start what the folder describes."""
    services = f"<servicedir>{services_folder}</servicedir>" if services_folder else ""
    return BUS_CONFIGURATION.format(kind=kind, socket=socket, services=services)


def read(path):
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()
    # A process may end between the opening and the reading of what tells about it.
    except (FileNotFoundError, ProcessLookupError):
        return ""


class Host:
    """One machine: a folder for its bus and its responder, and how to run something on it."""

    def __init__(self, name, folder, interface, ipv6, prefix=()):
        self.name = name
        self.folder = folder
        self.prefix = list(prefix)
        self.interface = interface
        self.ipv6 = ipv6

    @property
    def environment(self):
        return {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.folder}/bus"}

    def configure(self):
        os.makedirs(self.folder, exist_ok=True)
        write(f"{self.folder}/bus.conf", bus_configuration("system", f"{self.folder}/bus"))
        write(f"{self.folder}/responder.conf",
              RESPONDER_CONFIGURATION.format(interface=self.interface,
                                             ipv6="yes" if self.ipv6 else "no"))

    def launch(self, service, command):
        """Starts a service that outlives the caller; its log and its number lie in the folder."""
        # The shell's number stays the service's.
        noted = ["sh", "-c", f'echo $$ >{self.folder}/{service}.pid; exec "$@"', "sh", *command]
        with open(f"{self.folder}/{service}.log", "w", encoding="utf-8") as log:
            try:
                return subprocess.Popen([*self.prefix, *noted], stdin=subprocess.DEVNULL,
                                        stdout=log, stderr=log, env=self.environment, cwd="/",
                                        start_new_session=True)
            except OSError as error:
                raise NetworkError(f"cannot start {command[0]}: {error.strerror}") from error

    def wait_for(self, service, process, condition):
        def ready():
            if process.poll() is not None:
                raise NetworkError(f"the {service} of {self.name} ended with {process.returncode}:\n"
                                   + read(f"{self.folder}/{service}.log"))
            return condition()
        wait_until(ready, f"the {service} of {self.name}")

    def start_bus(self):
        if os.path.exists(f"{self.folder}/bus"):
            os.unlink(f"{self.folder}/bus")
        process = self.launch("bus", ["dbus-daemon", f"--config-file={self.folder}/bus.conf",
                                      "--nofork", "--nopidfile", "--print-address=1"])
        # It says its address once it listens.
        self.wait_for("bus", process, lambda: read(f"{self.folder}/bus.log").endswith("\n"))

    def launch_daemon(self):
        # Its number file has a fixed place, so every host needs one of its own; and it insists
        # that the folder belongs to the user "avahi".
        return self.launch("daemon", ["unshare", "--mount", "sh", "-c",
                                      'mount -t tmpfs none /run/avahi-daemon && exec "$@"', "sh",
                                      "avahi-daemon", "--file", f"{self.folder}/responder.conf",
                                      "--no-drop-root", "--no-chroot", "--no-rlimits"])

    def wait_for_daemon(self, process):
        self.wait_for("daemon", process, lambda: "Server startup complete"
                      in read(f"{self.folder}/daemon.log"))

    def start_daemon(self):
        self.wait_for_daemon(self.launch_daemon())

    def signal(self, service, number):
        """Sends a signal; for one that ends the service, waits for its end."""
        pid = int(read(f"{self.folder}/{service}.pid"))
        os.kill(pid, number)
        if number in (signal.SIGTERM, signal.SIGKILL):
            wait_until(lambda: not runs(pid), f"the end of the {service} of {self.name}")


def runs(pid):
    """Not a zombie, which is only waiting to be collected."""
    state = read(f"/proc/{pid}/stat").rpartition(")")[2].split()
    return bool(state) and state[0] not in "ZX"


def hide_the_machine():
    """The machine's own bus, number files and named networks; and the users its daemons want."""
    must("mount", "-t", "tmpfs", "none", "/run")
    os.makedirs(f"{FOLDER}/bin")
    os.makedirs("/run/avahi-daemon")
    # Only user 0 exists in here, under all the names that are asked for; a compositor's X server lets
    # in who has a name, and that it calls nobody.
    write(f"{FOLDER}/passwd", "root:x:0:0::/:/bin/sh\navahi:x:0:0::/:/bin/false\n"
                              "messagebus:x:0:0::/:/bin/false\n"
                              "nobody:x:65534:65534::/:/bin/false\n")
    write(f"{FOLDER}/group", "root:x:0:\navahi:x:0:\nmessagebus:x:0:\nnogroup:x:65534:\n")
    for name in ("passwd", "group"):
        must("mount", "--bind", f"{FOLDER}/{name}", f"/etc/{name}")


def reason_against_namespaces():
    """None, or why this machine allows no private network."""
    try:
        probe = subprocess.run([*NAMESPACES, "mount", "-t", "tmpfs", "none", "/mnt"],
                               stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    except OSError as error:
        return f"unshare: {error.strerror}"
    return probe.stderr.strip() or "unshare failed" if probe.returncode != 0 else None


def watch_signals(*numbers):
    """Signals as bytes in a pipe."""
    reader, writer = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
    signal.set_wakeup_fd(writer, warn_on_full_buffer=False)
    for number in numbers:
        signal.signal(number, lambda *_: None)
    return reader


def shell_status(status):
    code = os.waitstatus_to_exitcode(status)
    return code if code >= 0 else 128 - code


def run_outside(arguments):
    """Makes the namespaces, runs this script in them, and passes signals on."""
    reason = reason_against_namespaces()
    if reason:
        say(f"skipped: this machine allows no private network ({reason})")
        return SKIPPED
    signals = watch_signals(signal.SIGTERM, signal.SIGHUP, signal.SIGINT, signal.SIGCHLD)
    orders_reader, orders_writer = os.pipe()
    os.set_inheritable(orders_reader, True)
    script = os.path.realpath(sys.argv[0])
    # Descriptors that the caller passes to the command stay open.
    child = subprocess.Popen([*NAMESPACES, sys.executable, script, f"--inside={orders_reader}",
                              *arguments], close_fds=False)
    os.close(orders_reader)
    while child.poll() is None:
        select.select([signals], [], [])
        for number in os.read(signals, 64):
            # A terminal sends its interrupt to everybody in here as well.
            if number in (signal.SIGTERM, signal.SIGHUP):
                try:
                    os.write(orders_writer, bytes([number]))
                except BrokenPipeError:
                    pass
    return child.returncode if child.returncode >= 0 else 128 - child.returncode


def run_inside(command, environment, orders):
    """As the first process of the namespaces: runs the command, collects orphans."""
    signals = watch_signals(signal.SIGCHLD, signal.SIGINT)
    os.set_inheritable(orders, False)
    try:
        child = subprocess.Popen(command, env=environment, close_fds=False)
    except FileNotFoundError:
        say(f"{command[0]}: not found")
        return NOT_FOUND
    except OSError as error:
        say(f"{command[0]}: {error.strerror}")
        return CANNOT_RUN
    while True:
        ready = select.select([signals, orders], [], [])[0]
        if orders in ready:
            numbers = os.read(orders, 64)
            if not numbers:
                return NO_NETWORK  # the script outside is gone, and so is everything in here
            for number in numbers:
                os.kill(child.pid, number)
        if signals in ready:
            os.read(signals, 64)
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                break
            if pid == 0:
                break
            if pid == child.pid:
                return shell_status(status)


def main(usage, set_up):
    """The common part of both scripts.

    set_up(with_bus, with_daemon) makes the network and returns the command's environment.
    """
    arguments = sys.argv[1:]
    orders = None
    if arguments and arguments[0].startswith("--inside="):
        orders = int(arguments[0].partition("=")[2])
        arguments = arguments[1:]
    command = list(arguments)
    with_bus = with_daemon = True
    while command and command[0].startswith("--"):
        option = command.pop(0)
        if option == "--without-daemon":
            with_daemon = False
        elif option == "--without-bus":
            with_bus = with_daemon = False
        elif option == "--help":
            print(usage)
            return 0
        elif option == "--":
            break
        else:
            say(f"unknown option {option}")
            return 2
    if not command:
        say("which command?")
        return 2
    if orders is None:
        return run_outside(arguments)
    try:
        hide_the_machine()
        environment = set_up(with_bus, with_daemon)
    except NetworkError as error:
        say(str(error))
        return NO_NETWORK
    return run_inside(command, environment, orders)
