#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Whether everybody can use the page, on the smallest phone, and what it weighs; over HTTPS, too.

Runs inside scripts/private-desktop --network; CLIPMULE_AXE says where axe.min.js is, if anywhere.
"""

import gzip
import os
import pathlib
import ssl
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import BROWSER, PageTest, clip, main, until  # noqa: E402
from page_test import look_at, picture  # noqa: E402
import browsers  # noqa: E402
import double  # noqa: E402
from programs import clipboard  # noqa: E402

AXE = pathlib.Path(os.environ.get("CLIPMULE_AXE", "/nowhere"))
MOST_BYTES = 80000
# A finger's width, in CSS pixels.
LEAST_TARGET = 44
TARGETS = """
return [...document.querySelectorAll('button, a, select, summary, dialog input')]
    .filter(element => element.checkVisibility?.() ?? element.offsetParent)
    .map(element => [element.textContent || element.getAttribute('aria-label') || element.id,
                     element.getBoundingClientRect()])
    .filter(([, box]) => Math.min(box.width, box.height) < args[0] - 0.5)
    .map(([name, box]) => `${name}: ${box.width} x ${box.height}`)
"""
WIDE = """
return [...document.querySelectorAll('body, body *')].filter(element => {
    const box = element.getBoundingClientRect();
    return box.width > 1 && (box.right > innerWidth + 1 || box.left < -1) &&
        !element.closest('#attached, symbol, .unseen');
}).map(element => element.outerHTML.slice(0, 100))
"""


def clips():
    long = "word " * 300
    return [clip("a", "A short text"), clip("b", "https://example.org/" + "very-long" * 20, kind="link",
                                             url="https://example.org/x", title="A title"),
            clip("c", long), clip("d", "x" * 400), clip("e", "مرحبا بالعالم"),
            {"id": "p", "at": 1, "from": "A phone with quite a long name", "kind": "picture",
             "picture": {"type": "image/png", "size": len(PICTURE), "width": 640, "height": 480}},
            {"id": "o", "at": 1, "kind": "other"}]


PICTURE = picture("640x480")


class Looks(PageTest):
    def setUp(self):
        super().setUp()
        self.program.clips = clips()
        self.program.contents[("p", "picture")] = PICTURE

    def views(self):
        """The page in all its views, one after the other."""
        self.page.get(self.program.origin)
        self.wait_for_state("none")
        yield "start"
        self.pair()
        self.until("clips", lambda: len(self.all("#clips .card")) == 7)
        self.run_script("document.querySelector('[data-clip=p]').scrollIntoView()")
        self.until("picture", lambda: self.all("#clips img:not([hidden])"))
        yield "list"
        self.program.answer = {"is": "notSent", "why": "tooLarge"}
        self.write("words " * 30)
        self.tap("#send")
        self.until("failure", lambda: self.all("#outbox .failed"))
        file = self.folder / "picture.png"
        file.write_bytes(PICTURE)
        self.find("#choose").send_keys(str(file))
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_enabled())
        self.write("more words " * 5)
        yield "sending"
        self.tap("#filter-box")
        self.until("sheet", lambda: self.all("#sheet .choice"))
        self.tap("#sheet .choice")
        self.until("preview", lambda: self.find(".preview").is_displayed())
        yield "filters"
        self.tap("#sheet-close")
        self.until("page again", lambda: not self.all("dialog[open]"))
        self.tap("#menu")
        self.run_script("document.querySelectorAll('details').forEach(one => one.open = true)")
        yield "settings"
        self.tap("#sheet .danger")
        yield "forget"
        self.tap("#sheet-close")

    def assert_usable(self, view):
        with self.subTest(view, **self.options):
            self.assertEqual(self.run_module(TARGETS, LEAST_TARGET), [])
            self.assertEqual(self.run_module(WIDE), [])


class SmallestTest(Looks):
    """320 pixels wide; in the other engine as narrow as its window gets."""
    options = {"width": 320, "height": 568, "language": "de"}

    def test_every_view(self):
        for view in self.views():
            self.assert_usable(view)

    def test_large_text(self):
        for view in self.views():
            self.run_script("document.documentElement.style.fontSize = '200%'")
            self.assert_usable(view + ", large")

    def test_from_right_to_left(self):
        for view in self.views():
            self.run_script("document.documentElement.dir = 'rtl'")
            self.assert_usable(view + ", from the right")
        self.assertGreater(self.find("#menu").rect["x"] + 44, 0)
        self.assertLess(self.find("#menu").rect["x"], self.find("header .logo").rect["x"])

    def test_it_says_what_it_says_in_german(self):
        if BROWSER == "webkit":
            self.skipTest("its language is the desktop's")
        self.pair()
        self.assertEqual(self.shown("#status-text"), ["Verbunden"])
        self.assertEqual(self.run_script("return document.documentElement.lang"), "de")


class JapaneseTest(Looks):
    options = {"width": 320, "height": 568, "language": "ja"}

    def test_every_view(self):
        if BROWSER == "webkit":
            self.skipTest("its language is the desktop's")
        for view in self.views():
            self.assert_usable(view)
        self.assertEqual(self.run_script("return document.documentElement.lang"), "ja")


class AccessTest(Looks):
    def run_axe(self):
        self.page.execute_script(AXE.read_text(encoding="utf-8"))
        # Colours are compared as they are once nothing moves and the finger has left the button.
        browsers.wait_until_at_rest(self.page)
        self.until("no finger", lambda: not self.all("button:active"))
        found = self.run_module("return (await axe.run()).violations")
        return [f"{one['id']}: {node['html']} {node['failureSummary']}" for one in found
                for node in one["nodes"]]

    def test_axe_finds_nothing(self):
        if not AXE.is_file():
            self.skipTest("no axe-core: scripts/fetch-axe could not fetch it")
        for scheme in ("light", "dark") if BROWSER == "chromium" else ("light",):
            if BROWSER == "chromium":
                self.page.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
                    {"name": "prefers-color-scheme", "value": scheme},
                    {"name": "prefers-reduced-motion", "value": "reduce"}]})
            for view in self.views():
                with self.subTest(view, scheme=scheme):
                    self.assertEqual(self.run_axe(), [])
            self.page.get("about:blank")
            self.program.stop()
            self.program.port = 0
            self.program.start()

    def test_what_is_announced_and_how_it_is_called(self):
        self.pair()
        for selector, role in (("#status", "status"), ("#announcer", "log"), ("#box", "textbox"),
                               ("#compose-error", "alert"), ("#clips", "list")):
            self.assertEqual(self.find(selector).get_attribute("role"), role)
        for element in self.all("button, a, select, input, [role=textbox], img"):
            name = (element.get_attribute("aria-label") or element.get_attribute("alt")
                    or element.get_attribute("textContent"))
            self.assertTrue(name.strip(), element.get_attribute("outerHTML"))

    def test_by_keyboard(self):
        self.pair()
        self.run_script("document.querySelector('#clips .primary').focus()")
        self.page.switch_to.active_element.send_keys("\ue007")
        until("clipboard", lambda: clipboard("UTF8_STRING") == b"A short text")


class WeightTest(Looks):
    def test_weight_and_requests(self):
        self.pair()
        self.until("clips", lambda: self.all("#clips .card"))
        asked = [path for path in self.program.requests if not path.endswith((".png", ".ico"))]
        files = {path: double.SEALING if path[1:] == double.SEALING.name
                 else double.PAGE / (path[1:] or "index.html") for path in asked}
        weight = sum(len(gzip.compress(file.read_bytes(), 9)) for file in files.values())
        print(f"{len(files)} files, {weight} bytes compressed", file=sys.stderr)
        self.assertLess(weight, MOST_BYTES)
        self.assertNotIn("/sw.js", files)
        for path in ("/nacl-fast.min.js", "/page.css", "/worker.js", "/texts-en.js"):
            self.assertIn(path, files)

    def test_nothing_is_fetched_from_elsewhere_and_nothing_complains(self):
        self.pair()
        self.until("picture", lambda: self.all("#clips img:not([hidden])"))
        self.assertEqual(self.run_script(
            "return performance.getEntriesByType('resource').map(one => one.name)"
            ".filter(name => !name.startsWith(location.origin) && !name.startsWith('blob:'))"), [])
        if BROWSER == "chromium":
            self.assertEqual([entry["message"] for entry in self.page.get_log("browser")
                              if self.program.origin in entry["message"]], [])


class HttpsTest(Looks):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        names = [f"{folder.name}/{name}" for name in ("key.pem", "certificate.pem")]
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj",
                        "/CN=desk", "-addext", "subjectAltName=IP:10.77.0.1", "-keyout", names[0], "-out",
                        names[1]], check=True, capture_output=True)
        cls.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        cls.tls.load_cert_chain(names[1], names[0])

    def test_what_a_browser_allows_then(self):
        self.pair()
        self.assertTrue(self.run_script("return isSecureContext"))
        self.tap("[data-clip=a] .primary")
        until("clipboard", lambda: clipboard("UTF8_STRING") == b"A short text")
        self.tap_button("Copy picture", "#clips")
        until("picture", lambda: look_at(clipboard("image/png"), "%w %h") == "640 480")
        self.tap("#menu")
        self.assertIn("This page came over HTTPS, so nobody on the way could change it.",
                      [text.get_attribute("textContent") for text in self.all("#sheet details p")])

    def test_shared_from_another_app(self):
        """As the service worker takes it: into the box, where one sees it before it is sent."""
        if BROWSER == "webkit":
            self.skipTest("no app can share with a page in this engine")
        self.pair()
        self.run_module("await navigator.serviceWorker.ready")
        self.until("worker", lambda: self.run_script("return navigator.serviceWorker.controller !== null"))
        self.run_module("const form = new FormData(); form.append('text', 'shared words');"
                        "form.append('url', 'https://example.org/');"
                        "const bytes = Uint8Array.from(atob(args[0]), sign => sign.charCodeAt(0));"
                        "form.append('pictures', new File([bytes], 'a.png', {type: 'image/png'}));"
                        "await fetch('/share', {method: 'POST', body: form})", TINY)
        self.page.refresh()
        self.until("words", lambda: self.written() == "shared words\nhttps://example.org/")
        self.until("picture", lambda: len(self.all("#attached li")) == 1)
        self.page.refresh()
        self.wait_for_state("desk-connected")
        self.assertEqual(self.written(), "")

    def test_it_opens_without_the_program(self):
        self.pair()
        self.run_module("await navigator.serviceWorker.ready")
        self.until("worker", lambda: self.run_script("return navigator.serviceWorker.controller !== null"))
        self.page.refresh()
        self.wait_for_state("desk-connected")
        self.program.stop()
        self.page.refresh()
        self.wait_for_state("lost")
        self.assertEqual(self.shown("#computer"), ["desk"])

    def test_forgetting_leaves_no_worker(self):
        self.pair()
        self.run_module("await navigator.serviceWorker.ready")
        self.tap("#menu")
        self.tap_button("Forget this computer", "#sheet")
        self.tap_button("Forget it", "#sheet")
        self.program.hear("forget")
        self.until("no worker", lambda: self.run_module(
            "return (await navigator.serviceWorker.getRegistrations()).length + "
            "(await caches.keys()).length") == 0)


TINY = ("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg==")

if __name__ == "__main__":
    main()
