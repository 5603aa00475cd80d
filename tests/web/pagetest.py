# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What all tests of the page share: a network with an address that is not loopback (loopback would be
a secure context, where browsers allow more), a browser, and how a person uses the page."""

import os
import pathlib
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

SKIPPED = 77
try:
    import browsers
    import double
    from selenium.common.exceptions import WebDriverException
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError as error:
    print(f"skipped: {error}; scripts/install-packages browser test installs it")
    sys.exit(SKIPPED)
from programs import until  # noqa: E402

ADDRESS = "10.77.0.1"
BROWSER = os.environ.get("CLIPMULE_BROWSER", "chromium")


def open_browser(folder, **options):
    return browsers.webkit() if BROWSER == "webkit" else browsers.chromium(folder, **options)


def clip(number, text, **more):
    """A text as the program lists it."""
    return {"id": number, "at": int(time.time() * 1000), "from": "desk", "kind": "text", "text": text,
            "length": len(text.encode("utf-16-le")) // 2, **more}


class BrowserTest(unittest.TestCase):
    """One browser serves all tests of a class: each program has a port of its own, so that nothing
    that one test leaves in the browser is another's."""
    options = {}
    page = None

    @classmethod
    def setUpClass(cls):
        browsers.make_network(ADDRESS)
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        cls.addClassCleanup(folder.cleanup)
        cls.page = open_browser(folder.name, **cls.options)
        cls.addClassCleanup(cls.page.quit)

    def leave(self):
        """Only one window, and nothing in it."""
        for window in self.page.window_handles[1:]:
            self.page.switch_to.window(window)
            self.page.close()
        self.page.switch_to.window(self.page.window_handles[0])
        self.page.get("about:blank")

    def run_script(self, script, *arguments, page=None):
        return (page or self.page).execute_script(script, *arguments)

    def run_module(self, script, *arguments):
        """With await in it; returns what it returns."""
        outcome = self.page.execute_async_script(
            "const done = arguments[arguments.length - 1];"
            f"(async (...args) => {{{script}}})(...arguments).then("
            "value => done({value}), error => done({error: String(error)}));", *arguments)
        self.assertNotIn("error", outcome)
        return outcome.get("value")

    def find(self, selector, page=None):
        return (page or self.page).find_element(By.CSS_SELECTOR, selector)

    def all(self, selector, page=None):
        return (page or self.page).find_elements(By.CSS_SELECTOR, selector)

    def shown(self, selector, page=None):
        """The texts of what is on the page, as far as it is to be seen."""
        return [element.get_attribute("textContent") for element in self.all(selector, page)
                if element.is_displayed()]

    def until(self, what, condition):
        """The page may change between two looks at it."""
        def holds():
            try:
                return condition()
            except WebDriverException:
                return False
        return until(what, holds)

    def wait_for_state(self, state, page=None):
        self.until(f"state {state}", lambda: self.state(page) == state)

    def state(self, page=None):
        return self.find("#status", page).get_attribute("data-state")

    def wait_for_texts(self, *texts, page=None):
        """These clips in this order, and no other."""
        self.until(f"clips {texts}", lambda: self.shown("#clips .text", page) == list(texts))

    def tap(self, selector, page=None):
        browsers.tap(page or self.page, self.find(selector, page))

    def tap_button(self, label, within="body"):
        """The button that is called so."""
        self.until(f"button {label}", lambda: self.button(label, within))
        browsers.tap(self.page, self.button(label, within))

    def button(self, label, within="body"):
        for button in self.all(f"{within} button, {within} a.button"):
            names = (button.get_attribute("textContent"), button.get_attribute("aria-label"))
            if button.is_displayed() and label in names:
                return button
        return None

    def write(self, text):
        """Into the box, by the keyboard."""
        self.tap("#box")
        self.find("#box").send_keys(text)

    def written(self):
        """What the box would send."""
        return self.find("#box").get_attribute("textContent")

    def press(self, *keys):
        self.find("#box").send_keys(Keys.CONTROL, *keys)

    def stored(self):
        return self.run_script("return Object.fromEntries(Object.entries(localStorage))")

    def waits(self):
        """How many things are kept to be sent."""
        return self.run_module("const {outboxStore} = await import('/store.js');"
                               "return (await outboxStore.all()).length;")


class PageTest(BrowserTest):
    """Beside the double."""
    tls = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.program = double.Double(ADDRESS, self.tls)
        self.addCleanup(self.program.end)
        self.program.start()
        self.addCleanup(self.leave)

    def pair(self):
        """A browser that the program knows, and that shows it."""
        self.page.get(self.program.link())
        self.wait_for_state("desk-" + self.program.desk)
        self.program.hear("pair")

    def next_hello(self):
        """Kind and id of the next connection's first message."""
        hello = self.program.hellos.get(timeout=double.PATIENCE_SECONDS)
        return hello[1:2], hello[2:18]

    def forget_hellos(self):
        while not self.program.hellos.empty():
            self.program.hellos.get()


def main():
    if BROWSER == "webkit" and not browsers.MINI_BROWSER:
        print("skipped: no WebKit; scripts/install-packages test installs it")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)
