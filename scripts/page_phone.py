# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A phone without the app, for the demo and for pictures of it: a browser with a screen and a clipboard of its own, in
which the page of clipmule-web is used as a person does."""

import pathlib
import subprocess

import browsers
from programs import until
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# As in many homes.
ADDRESS = "192.168.1.20"


class PagePhone:
    def __init__(self, start, binaries, folder, width, height):
        """Serves the page, reads its code as a camera does, and opens what that says. start(name, *command) starts a
        program and ends it at the end. The sizes are points."""
        self.size = width, height
        browsers.make_network(ADDRESS)
        # What the page and the desk call this computer.
        subprocess.run(["hostname", "desk"], check=True)
        self.web = start("clipmule-web", binaries / "clipmule-web", "--address", ADDRESS, "--data", folder / "page")
        self.link, _ = browsers.scan(self.web)
        self.browser = browsers.chromium(folder / "browser", width, height, is_shown=False)

    def pair(self):
        """Opens the link; gives the name that the desk knows the browser by."""
        self.browser.get(self.link)
        name = self.web.wait_for("pairing", lambda line: line.startswith("Paired: ") and
                                 line.removeprefix("Paired: "))
        self.until("connection", lambda: self.find("#status").get_attribute("data-state") == "desk-connected")
        # The page asks whether it is to be called so.
        self.until("question", lambda: self.find("#banner button:last-child").is_displayed())
        browsers.tap(self.browser, self.find("#banner button:last-child"))
        self.until("end of the question", lambda: not self.find("#banner").is_displayed())
        return name

    def find(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def until(self, what, condition):
        """The page may change between two looks at it."""
        def holds():
            try:
                return condition()
            except WebDriverException:
                return False
        return until(what, holds)

    def wait_for_text(self, text):
        """It is the newest clip."""
        self.until(f"“{text}” on the page", lambda: self.find("#clips .text").text == text)

    def copy_newest(self):
        """With a tap; gives what is on the phone's clipboard then, by pasting it."""
        browsers.tap(self.browser, self.find("#clips .primary"))
        self.until("word that it is copied", lambda: "done" in self.find("#clips .primary").get_attribute("class"))
        box = self.find("#box")
        browsers.tap(self.browser, box)
        box.send_keys(Keys.CONTROL, "v")
        pasted = self.until("pasted text", lambda: box.text)
        box.send_keys(Keys.CONTROL, "a")
        box.send_keys(Keys.DELETE)
        return pasted

    def send(self, text):
        """Types it; returns when the page says that the desk has it."""
        box = self.find("#box")
        browsers.tap(self.browser, box)
        box.send_keys(text)
        self.press_send()

    def send_picture(self, path):
        """Chooses it; returns like send()."""
        self.find("#choose").send_keys(str(path))
        self.until("picture", lambda: self.find("#attached li").is_displayed())
        self.press_send()

    def press_send(self):
        self.until("button", lambda: self.find("#send").is_enabled() and self.find("#send").is_displayed())
        browsers.tap(self.browser, self.find("#send"))
        self.until("word that the desk has it",
                   lambda: "has it" in self.find("#outbox li:last-child .status").text)

    def show_screen(self, start, path):
        """Shows what is on its screen now in a window in the shape of a phone, called Phone, by way of a picture
        that this saves."""
        # No cursor that blinks.
        self.browser.execute_script("document.activeElement.blur()")
        self.browser.save_screenshot(str(path))
        width, height = self.size
        glass = start("glass", ROOT / "scripts" / "demo-phone", "Phone", width + 20, height + 36)
        glass.wait_for("window", lambda line: line == "ready")
        glass.tell(f"screen {path}")
        glass.wait_for("screen", lambda line: line == "screen")

    def end(self):
        self.browser.quit()
