# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Wayland compositors without a screen, for private desktops.

Each function starts one in the desktop, waits until it lets clients in, and puts into the desktop's
environment what they need.
"""

import os

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


START = {"sway": start_sway}
