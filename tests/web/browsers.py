# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The browsers of phones, driven through WebDriver: Chromium and WebKit."""

import os
import pathlib

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.actions import interaction
from selenium.webdriver.common.actions.action_builder import ActionBuilder
from selenium.webdriver.common.actions.pointer_input import PointerInput

WIDTH, HEIGHT = 360, 740
MINI_BROWSER = next(iter(sorted(pathlib.Path("/usr/lib").glob("*/webkit2gtk-4.1/MiniBrowser"))), None)


def chromium(folder, width=WIDTH, height=HEIGHT, language="en"):
    """Shown, not headless: only then its clipboard is the desktop's."""
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
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
        return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
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


def tap(driver, element):
    """With a finger. The browser counts it as the person's doing, unlike a click by a script."""
    driver.execute_script("arguments[0].scrollIntoView({block: 'center'})", element)
    finger = PointerInput(interaction.POINTER_TOUCH, "finger")
    action = ActionBuilder(driver, mouse=finger)
    action.pointer_action.move_to(element)
    action.pointer_action.pointer_down()
    action.pointer_action.pointer_up()
    action.perform()
