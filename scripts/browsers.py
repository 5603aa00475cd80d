# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The browsers of phones, driven through WebDriver: Chromium and WebKit; the network that they come from, and the
camera that reads the code."""

import functools
import os
import pathlib
import re
import subprocess

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.actions import interaction
from selenium.webdriver.common.actions.action_builder import ActionBuilder
from selenium.webdriver.common.actions.pointer_input import PointerInput
from selenium.webdriver.remote.remote_connection import RemoteConnection

CHROMIUM, CHROMEDRIVER = "/usr/bin/chromium", "/usr/bin/chromedriver"
WIDTH, HEIGHT = 360, 740
# What the terminal shows: two rows of modules a line, black on white.
HALVES = {" ": (0, 0), "▀": (1, 0), "▄": (0, 1), "█": (1, 1)}
MINI_BROWSER = next(iter(sorted(pathlib.Path("/usr/lib").glob("*/webkit2gtk-4.1/MiniBrowser"))), None)
AT_REST = """
const done = arguments[arguments.length - 1];
const moving = document.getAnimations().filter(one => one.effect.getTiming().iterations !== Infinity);
Promise.allSettled(moving.map(one => one.finished)).then(() => done());
"""
# A driver that does not come back fails at the call it was asked for.
RemoteConnection.set_timeout(90)


def missing():
    """What is not there of Chromium, its driver and the camera."""
    return [name for name in (CHROMIUM, CHROMEDRIVER, "/usr/bin/zbarimg") if not os.path.exists(name)]


@functools.cache
def make_network(address):
    """Gives the computer this address beside loopback, which would be a secure context, where browsers allow
    more. Once; the desktop's network namespace is ours alone."""
    links = subprocess.run(["ip", "-brief", "link"], capture_output=True, text=True, check=True).stdout
    if "eth0" in links or os.geteuid() != 0:
        raise RuntimeError("to be run inside scripts/private-desktop --network")
    for command in (["link", "add", "page0", "type", "veth", "peer", "name", "page1"],
                    ["link", "set", "page0", "up"], ["link", "set", "page1", "up"],
                    ["addr", "add", f"{address}/24", "dev", "page0"]):
        subprocess.run(["ip", *command], check=True)


def read_code(lines):
    """The text of the QR code that these lines of a terminal show, from a picture of them."""
    rows = []
    for line in lines:
        halves = [HALVES[sign] for sign in re.sub(r"\x1b\[[0-9;]*m", "", line)]
        rows += [" ".join(str(half[row]) for half in halves) for row in (0, 1)]
    bitmap = f"P1\n{len(rows[0].split())} {len(rows)}\n" + "\n".join(rows) + "\n"
    png = subprocess.run(["convert", "pbm:-", "-scale", "600%", "png:-"], input=bitmap.encode(),
                         capture_output=True, check=True).stdout
    return subprocess.run(["zbarimg", "-q", "--raw", "png:-"], input=png, capture_output=True,
                          check=True).stdout.decode().strip()


def scan(web):
    """The link of the code that this clipmule-web shows next, as a phone's camera reads it, and as it is printed."""
    shown = []

    def take(line):
        if line.startswith("\x1b"):
            shown.append(line)
        return line.startswith("http") and line
    printed = web.wait_for("code", take)
    return read_code(shown), printed


def chromium(folder, width=WIDTH, height=HEIGHT, language="en", is_shown=True):
    """Only if it is shown its clipboard is the desktop's; else it is its own."""
    options = webdriver.ChromeOptions()
    if not is_shown:
        options.add_argument("--headless=new")
    options.binary_location = CHROMIUM
    options.accept_insecure_certs = True
    for argument in (f"--user-data-dir={folder}", "--no-first-run", "--disable-gpu", f"--lang={language}",
                     "--disable-dev-shm-usage", "--no-sandbox" if os.geteuid() == 0 else "--disable-sync"):
        options.add_argument(argument)
    options.add_experimental_option("prefs", {"intl.accept_languages": language})
    options.add_experimental_option("mobileEmulation", {
        "deviceMetrics": {"width": width, "height": height, "pixelRatio": 2.0, "touch": True, "mobile": True},
        "userAgent": "Mozilla/5.0 (Linux; Android 13; Phone) AppleWebKit/537.36 (KHTML, like Gecko) "
                     "Chrome/120.0.0.0 Mobile Safari/537.36"})
    os.environ["LANGUAGE"] = language
    try:
        return webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    finally:
        del os.environ["LANGUAGE"]


def webkit():
    """Its window is 447 pixels wide at least, and a tap arrives as a click of the mouse."""
    options = webdriver.WebKitGTKOptions()
    options.binary_location = str(MINI_BROWSER)
    options.add_argument("--automation")
    options.set_capability("browserName", "MiniBrowser")
    options.set_capability("acceptInsecureCerts", True)
    driver = webdriver.WebKitGTK(executable_path="/usr/bin/WebKitWebDriver", options=options)
    driver.set_window_size(WIDTH, HEIGHT)
    return driver


def wait_until_at_rest(driver):
    """What rises into the page has arrived: it is where a person sees it, in its colours."""
    driver.execute_async_script(AT_REST)


def tap(driver, element):
    """With a finger. The browser counts it as the person's doing, unlike a click by a script."""
    wait_until_at_rest(driver)
    driver.execute_script("arguments[0].scrollIntoView({block: 'center'})", element)
    finger = PointerInput(interaction.POINTER_TOUCH, "finger")
    action = ActionBuilder(driver, mouse=finger)
    action.pointer_action.move_to(element)
    action.pointer_action.pointer_down()
    action.pointer_action.pointer_up()
    action.perform()
