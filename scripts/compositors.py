# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Wayland compositors without a screen, for private desktops.

Each function starts one in the desktop, waits until it lets clients in, and puts into the desktop's
environment what they need.
"""

import os
import re
import shutil
import subprocess
import sys
import time

TICK_SECONDS = 0.05
SWAY_CONFIGURATION = """output HEADLESS-1 resolution {width}x{height} position 0,0 bg #3b5f7d solid_color
xwayland {xwayland}
exec sh -c 'echo "$WAYLAND_DISPLAY" "$DISPLAY" >{ready}'
"""
HEADLESS_SWAY = {"WLR_BACKENDS": "headless", "WLR_LIBINPUT_NO_DEVICES": "1", "WLR_RENDERER": "pixman"}
# For compositors that do not run as root, not even as the root of a user namespace.
AS_NOBODY = ["unshare", "--user", "--map-user=nobody", "--map-group=nogroup"] if os.geteuid() == 0 else []


def start_sway(desktop):
    width, height = desktop.screen_size()
    ready, reader = desktop.make_pipe("compositor-is-ready")
    configuration = desktop.write("sway.conf", SWAY_CONFIGURATION.format(
        width=width, height=height, ready=ready,
        xwayland="enable" if desktop.options.xwayland else "disable"))
    process = desktop.start_service(*AS_NOBODY, "sway", "--config", configuration,
                                    additions=HEADLESS_SWAY)
    displays = desktop.read_line(reader, "the compositor", process).split()
    os.close(reader)
    for name, display in zip(("WAYLAND_DISPLAY", "DISPLAY"), displays):
        desktop.set(name, display)
    runtime = desktop.path("runtime")
    desktop.set("SWAYSOCK", os.path.join(runtime, next(
        name for name in os.listdir(runtime) if name.startswith("sway-ipc."))))
    desktop.set("XDG_CURRENT_DESKTOP", "sway")


# KDE looks for desktop entries by a menu, which this desktop has none of otherwise.
KDE_MENU = """<!DOCTYPE Menu PUBLIC "-//freedesktop//DTD Menu 1.0//EN"
 "http://www.freedesktop.org/standards/menu-spec/menu-1.0.dtd">
<Menu><Name>Applications</Name><DefaultAppDirs/><DefaultDirectoryDirs/><Include><All/></Include></Menu>
"""


def allow_on_kde(desktop, program):
    """Installs our hidden desktop entry, by which KDE grants key strokes, for this program."""
    name = "com.zendrik.ClipmuleSync.Agent.desktop"
    packaging = os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "packaging")
    with open(os.path.join(packaging, name + ".in"), encoding="utf-8") as file:
        text = file.read().replace("@agent_unit@", os.path.realpath(program))
    desktop.make_folder("home/.local/share/applications")
    desktop.write(f"home/.local/share/applications/{os.path.basename(program)}.desktop", text)


def start_kwin(desktop):
    width, height = desktop.screen_size()
    ready, reader = desktop.make_pipe("compositor-is-ready")
    told = desktop.write("ready.sh", f'echo "$WAYLAND_DISPLAY" "$DISPLAY" >{ready}\n')
    desktop.make_folder("home/.config/menus")
    desktop.write("home/.config/menus/applications.menu", KDE_MENU)
    desktop.set("XDG_CURRENT_DESKTOP", "KDE")
    # The agent that a test is about to start, and what types in the place of its user.
    for program in ("clipmule-sync", "../tests/clipmule_kde_keys") if "CLIPMULE_BIN" in os.environ else ():
        allow_on_kde(desktop, os.path.join(os.environ["CLIPMULE_BIN"], program))
    # The installed one may have more rights than a container grants, and is not started there at all.
    program = shutil.copyfile(shutil.which("kwin_wayland") or "kwin_wayland", desktop.path("kwin_wayland"))
    os.chmod(program, 0o700)
    process = desktop.start_service(
        program, "--virtual", "--width", str(width), "--height", str(height), "--no-lockscreen",
        "--no-global-shortcuts", "--socket", "wayland-kwin",
        *(["--xwayland"] if desktop.options.xwayland else []), f"sh {told}",
        # Drawing with OpenGL takes longer, but only so are pictures taken.
        additions={"KWIN_COMPOSE": os.environ.get("KWIN_COMPOSE", "Q"), "LIBGL_ALWAYS_SOFTWARE": "1",
                    "QT_QPA_PLATFORM": "", "KWIN_SCREENSHOT_NO_PERMISSION_CHECKS": "1"})
    displays = desktop.read_line(reader, "the compositor", process).split()
    os.close(reader)
    for name, display in zip(("WAYLAND_DISPLAY", "DISPLAY"), displays):
        desktop.set(name, display)


def start_gnome(desktop):
    # It does not start where there is none.
    if not desktop.options.system_bus and not os.environ.get("DBUS_SYSTEM_BUS_ADDRESS"):
        desktop.start_bus("system")
    width, height = desktop.screen_size()
    version = subprocess.run(["gnome-shell", "--version"], capture_output=True, text=True, check=True).stdout
    # Later ones know no other kind of session, and not the option.
    is_asked_for = int(re.search(r"\d+", version).group()) < 49
    process = desktop.start_service(
        "gnome-shell", "--headless", "--virtual-monitor", f"{width}x{height}", "--wayland-display", "gnome",
        *(["--wayland"] if is_asked_for else []), *([] if desktop.options.xwayland else ["--no-x11"]),
        # Its settings are a file, which a test can change.
        additions={"LIBGL_ALWAYS_SOFTWARE": "1", "XDG_CURRENT_DESKTOP": "GNOME", "GSETTINGS_BACKEND": "keyfile"})
    ready, reader = desktop.make_pipe("compositor-is-ready")
    user = desktop.start_service("/usr/bin/python3", os.path.realpath(__file__), process.log, ready)
    desktop.read_line(reader, "the user of GNOME", user, process)
    os.close(reader)
    desktop.set("WAYLAND_DISPLAY", "gnome")
    desktop.set("XDG_CURRENT_DESKTOP", "GNOME")
    if desktop.options.xwayland:
        with open(process.log, encoding="utf-8", errors="replace") as log:
            desktop.set("DISPLAY", re.search(r"Using public X11 display (:\d+)", log.read()).group(1))
        runtime = desktop.path("runtime")
        desktop.set("XAUTHORITY", os.path.join(runtime, next(
            name for name in os.listdir(runtime) if name.startswith(".mutter-Xwaylandauth."))))


def be_the_user_of_gnome(log, ready):
    """Leaves the overview, in which no window has the focus, and types a key on a keyboard that is
    there from then on: the seat has none without a screen, and windows without a keyboard get no
    focus."""
    from gi.repository import Gio, GLib

    def started():
        with open(log, encoding="utf-8", errors="replace") as file:
            return "GNOME Shell started" in file.read()

    def call(name, path, interface, method, arguments=None):
        answer = bus.call_sync(name, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, -1, None)
        return answer.unpack()

    def wait_until(condition):
        while not condition():
            time.sleep(TICK_SECONDS)

    def overview(method, *arguments):
        return call("org.gnome.Shell", "/org/gnome/Shell", "org.freedesktop.DBus.Properties", method,
                    GLib.Variant("(ss" + "v" * len(arguments) + ")",
                                 ("org.gnome.Shell", "OverviewActive", *arguments)))

    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    wait_until(started)
    overview("Set", GLib.Variant("b", False))
    wait_until(lambda: overview("Get") == (False,))
    name = "org.gnome.Mutter.RemoteDesktop"
    session = call(name, "/org/gnome/Mutter/RemoteDesktop", name, "CreateSession")[0]
    call(name, session, name + ".Session", "Start")
    left_shift = 42
    for is_down in (True, False):
        call(name, session, name + ".Session", "NotifyKeyboardKeycode", GLib.Variant("(ub)", (left_shift, is_down)))
    with open(ready, "w", encoding="ascii") as pipe:
        pipe.write("ready\n")
    # The keyboard goes with its owner.
    GLib.MainLoop().run()


START = {"gnome": start_gnome, "kwin": start_kwin, "sway": start_sway}

if __name__ == "__main__":
    be_the_user_of_gnome(*sys.argv[1:])
