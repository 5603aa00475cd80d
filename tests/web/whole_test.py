#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The whole way: the real agent, the real clipmule-web, and real browsers. Browser and agent share one
display, so its clipboard is the computer's and the phone's; what counts is which of them put it there.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import itertools
import json
import pathlib
import re
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "desktop"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import ADDRESS, BROWSER, ROOT, BrowserTest, browsers, main, open_browser, until  # noqa: E402
from page_test import EXIF, look_at, picture  # noqa: E402
from agent_test import BIN, AgentTest  # noqa: E402
from programs import clipboard, copy  # noqa: E402


class Whole(BrowserTest, AgentTest):
    def setUp(self):
        AgentTest.setUp(self)
        self.addCleanup(self.leave)
        self.start_agent()
        self.port = 0
        self.code = self.start_web()

    def certificate(self):
        """What it is served with."""
        return []

    def start_web(self):
        """Serves; returns the link of its code as a camera reads it."""
        self.web = self.start("clipmule-web", BIN / "clipmule-web", "--port", self.port, "--address", ADDRESS,
                              "--data", self.folder / "page", *self.certificate())
        return self.wait_for_code()

    def wait_for_code(self):
        link, printed = browsers.scan(self.web)
        self.assertEqual(link, printed)
        self.port = int(re.search(r":(\d+)/#", link)[1])
        return link

    def ask_web(self, *words):
        return subprocess.run([BIN / "clipmule-web", "--data", self.folder / "page", *words],
                              capture_output=True, text=True, check=True).stdout

    def pair(self):
        """A page whose phone the agent is connected to."""
        self.page.get(self.code)
        name = self.web.wait_for("pairing", lambda line: line.removeprefix("Paired: ")
                                 if line.startswith("Paired: ") else None)
        self.preferences("pair", f"local/{name}", "--wait", "0")
        self.wait_for_state("desk-connected")
        # Connected is not yet followed: the agent looks for what is copied a moment later.
        number = itertools.count()
        self.until("first clip", lambda: copy("UTF8_STRING", f"ready {next(number)}".encode())
                   or self.shown("#clips .text"))
        return name

    def wait_for_texts(self, *texts, page=None):
        """These are the newest."""
        self.until(f"clips {texts}", lambda: self.shown("#clips .text", page)[:len(texts)] == list(texts))

    def assert_sent(self):
        self.until("word", lambda: any("has it" in text for text in self.shown("#outbox .status")))

    def send_picture(self):
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_displayed()
                   and self.find("#send").is_enabled())
        self.tap("#send")

    def choose_photo(self):
        """Of twelve megapixels, turned and with a place in it."""
        photo = self.folder / "photo.jpg"
        plain = picture("4000x3000", "jpeg")
        photo.write_bytes(plain[:2] + EXIF + plain[2:])
        self.find("#choose").send_keys(str(photo))


class WholeTest(Whole):
    def test_both_ways(self):
        self.pair()
        first = "Zeile — 日本語 \U0001f434\n<b>zwei</b>"
        copy("UTF8_STRING", first.encode())
        self.wait_for_texts(first)
        copy("text/uri-list", b"https://example.org/a?b=c")
        self.until("link", lambda: self.button("Open", "#clips"))
        self.assertEqual(self.find("#clips a").get_attribute("href"), "https://example.org/a?b=c")
        self.tap("#clips li:nth-child(2) .primary")
        self.assert_on_clipboard(first)
        self.write("typed on the phone")
        self.tap("#send")
        self.assert_on_clipboard("typed on the phone")
        self.assert_sent()

    def test_what_is_marked_secret_stays_on_the_computer(self):
        self.pair()
        window = self.start_window("vault")
        window.tell(f"copy-data text/plain {b'a password'.hex()} x-kde-passwordManagerHint {b'secret'.hex()}")
        until("look at the copy", lambda: self.times_logged("marked as secret") == 1)
        copy("UTF8_STRING", b"harmless")
        self.wait_for_texts("harmless")
        self.assertNotIn("a password", self.shown("#clips .text"))
        # Nor is it kept for a page that is closed.
        kept = b"".join(path.read_bytes() for path in (self.folder / "page").rglob("*") if path.is_file())
        self.assertIn(b"harmless", kept)
        self.assertNotIn(b"password", kept)

    def test_pictures_both_ways(self):
        self.pair()
        content = picture("300x200")
        copy("image/png", content)
        self.until("picture", lambda: self.run_script(
            "return document.querySelector('#clips img')?.naturalWidth") == 300)
        self.tap("#box")
        self.press("v")
        self.until("picture in the box", lambda: self.all("#attached li"))
        copy("UTF8_STRING", b"something else")
        self.send_picture()
        until("picture on the clipboard", lambda: look_at(clipboard("image/png"), "%w %h") == "300 200")
        self.choose_photo()
        self.send_picture()
        until("photo on the clipboard", lambda: look_at(clipboard("image/png"), "%w %h") == "1200 1600")

    def send_to_the_window_in_front(self):
        """Which is not the browser's, as on a desk, where the browser is on a phone."""
        self.until("ready", lambda: self.find("#send").is_displayed() and self.find("#send").is_enabled())
        subprocess.run(["xdotool", "search", "--name", "^Notebook$", "windowactivate", "--sync"], check=True)
        self.run_script("document.querySelector('#send').click()")

    def test_what_it_sends_is_pasted_into_the_window_in_front(self):
        self.pair()
        copy("image/png", picture("300x200"))
        self.tap("#box")
        self.press("v")
        self.until("picture in the box", lambda: self.all("#attached li"))
        window = self.start("window", ROOT / "scripts" / "demo-window")
        window.wait_for("window in front", lambda line: line == "ready")
        self.send_to_the_window_in_front()
        window.wait_for("pasted picture", lambda line: line == "image 300x200")
        self.choose_photo()
        self.until("photo in the box", lambda: self.all("#attached li"))
        self.send_to_the_window_in_front()
        window.wait_for("pasted photo", lambda line: line == "image 1200x1600")
        self.write("typed on the phone, ä")
        self.send_to_the_window_in_front()
        window.wait_for("pasted text", lambda line: line.startswith("text ") and
                        "typed on the phone, ä" in json.loads(line[5:]))

    def test_what_was_copied_while_it_was_closed_and_the_program_restarted(self):
        self.pair()
        self.page.get("about:blank")
        copy("UTF8_STRING", b"while closed")
        self.page.get(self.code.split("#")[0])
        self.wait_for_texts("while closed")
        self.web.process.kill()
        self.wait_for_state("lost")
        self.web.stop()
        self.start_web()
        self.wait_for_state("desk-connected")
        self.wait_for_texts("while closed")
        copy("UTF8_STRING", b"after it")
        self.wait_for_texts("after it", "while closed")

    def test_the_agent_restarts(self):
        self.pair()
        self.agent.stop()
        self.wait_for_state("desk-away")
        self.write("for later")
        self.tap("#send")
        self.until("word", lambda: self.shown("#outbox .status"))
        self.start_agent()
        self.wait_for_state("desk-connected")
        self.assert_on_clipboard("for later")

    def test_revoked_while_open(self):
        name = self.pair()
        copy("UTF8_STRING", b"secret")
        self.wait_for_texts("secret")
        self.ask_web("revoke", name)
        self.until("words", lambda: self.shown("#welcome h2") == ["Removed on the computer"])
        self.until("no key", lambda: self.run_script("return localStorage.length") == 0)
        self.assertEqual(self.ask_web("list"), "")

    def test_renamed_and_unpaired_by_the_agents_commands(self):
        name = self.pair()
        self.preferences("rename", f"local/{name}", "Mum")
        until("new name", lambda: "\tMum\t" in self.ask_web("list"))
        self.until("new name on the page", lambda: json.loads(
            self.run_script("return localStorage.getItem('clipmule')"))["name"] == "Mum")
        self.preferences("unpair", f"local/{name}")
        self.until("words", lambda: self.shown("#welcome h2") == ["Removed on the computer"])
        self.assertEqual(self.ask_web("list"), "")

    def test_a_wrong_key(self):
        self.pair()
        copy("UTF8_STRING", b"secret")
        self.wait_for_texts("secret")
        kept = self.run_script("return localStorage.getItem('clipmule')")
        wrong = json.loads(kept)
        wrong["key"] = ("1" if wrong["key"][0] == "0" else "0") + wrong["key"][1:]
        self.run_script("localStorage.setItem('clipmule', arguments[0])", json.dumps(wrong))
        self.page.refresh()
        self.wait_for_state("lost")
        self.assertEqual(self.all("#clips .card"), [])
        self.run_script("localStorage.setItem('clipmule', arguments[0])", kept)
        self.page.refresh()
        self.wait_for_state("desk-connected")
        self.wait_for_texts("secret")

    def test_a_code_that_another_took_the_place_of(self):
        self.ask_web("code")
        self.page.get(self.code)
        self.until("words", lambda: self.shown("#welcome h2") == ["This code does not work any more"])
        self.assertEqual(self.ask_web("list"), "")

    def test_a_used_code(self):
        self.pair()
        kept = self.run_script("return localStorage.getItem('clipmule')")
        self.run_script("localStorage.clear()")
        self.page.get("about:blank")
        self.page.get(self.code)
        self.until("words", lambda: self.shown("#welcome h2") == ["This code does not work any more"])
        self.assertIsNotNone(kept)

    def test_renamed_and_forgotten(self):
        self.pair()
        self.tap("#menu")
        field = self.find("#name")
        field.clear()
        field.send_keys("Anna’s <b>")
        self.tap_button("Save", "#sheet")
        self.until("saved", lambda: "Saved" in self.shown("#sheet .hint"))
        self.assertIn("\tAnna’s <b>\t", self.ask_web("list"))
        self.assertEqual(json.loads(self.run_script("return localStorage.getItem('clipmule')"))["name"],
                         "Anna’s <b>")
        self.tap_button("Forget this computer", "#sheet")
        self.tap_button("Forget it", "#sheet")
        self.wait_for_state("none")
        until("empty list", lambda: self.ask_web("list") == "")

    def test_filters(self):
        self.pair()
        copy("UTF8_STRING", "straße".encode())
        self.wait_for_texts("straße")
        self.tap_button("Change the text", "#clips")
        self.until("filters", lambda: len(self.all("#sheet .choice")) == 10)
        # Not its text: there is none while the sheet still rises.
        upper = next(choice for choice in self.all("#sheet .choice")
                     if "upper" in choice.get_attribute("textContent").lower())
        browsers.tap(self.page, upper)
        self.until("preview", lambda: self.shown(".preview") == ["STRASSE"])
        self.tap_button("Copy", "#sheet")
        self.assert_on_clipboard("STRASSE")

    def test_a_second_browser_gets_what_the_first_relays(self):
        if BROWSER == "webkit":
            self.skipTest("its driver serves one browser at a time")
        self.pair()
        other = open_browser(str(self.folder / "other"))
        self.addCleanup(other.quit)
        first, self.page = self.page, other
        self.code = next(line for line in self.ask_web("code").splitlines() if line.startswith("http"))
        try:
            self.pair()
        finally:
            self.page = first
        self.write("to the other phones")
        self.run_script("document.querySelector('#target').value = 'phones'")
        self.tap("#send")
        self.wait_for_texts("to the other phones", page=other)
        del self.page


class WholeHttpsTest(Whole):
    def certificate(self):
        names = self.folder / "key.pem", self.folder / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=desk",
                        "-addext", f"subjectAltName=IP:{ADDRESS}", "-keyout", names[0], "-out", names[1]],
                       check=True, capture_output=True)
        return ["--key", names[0], "--certificate", names[1]]

    def wait_for_worker(self):
        self.run_module("await navigator.serviceWorker.ready")
        self.until("worker", lambda: self.run_script("return navigator.serviceWorker.controller !== null"))

    def test_both_ways(self):
        self.pair()
        self.assertTrue(self.run_script("return isSecureContext"))
        self.wait_for_worker()
        content = picture("300x200")
        copy("image/png", content)
        self.until("picture", lambda: self.button("Copy picture", "#clips"))
        copy("UTF8_STRING", b"something else")
        self.wait_for_texts("something else")
        self.tap_button("Copy picture", "#clips")
        self.until("word", lambda: self.shown("#clips .done") == ["Copied"])
        until("picture", lambda: look_at(clipboard("image/png"), "%w %h") == "300 200")
        self.write("typed on the phone")
        self.tap("#send")
        self.assert_on_clipboard("typed on the phone")
        self.assert_sent()

    def test_shared_from_another_app(self):
        if BROWSER == "webkit":
            self.skipTest("no app can share with a page in this engine")
        self.pair()
        self.wait_for_worker()
        self.run_module("const form = new FormData(); form.append('text', 'shared words');"
                        "await fetch('/share', {method: 'POST', body: form})")
        self.page.refresh()
        self.until("words", lambda: self.written() == "shared words")
        self.wait_for_state("desk-connected")
        self.tap("#send")
        self.assert_on_clipboard("shared words")

    def test_it_can_be_installed(self):
        if BROWSER == "webkit":
            self.skipTest("nothing is installed in this engine")
        self.pair()
        self.wait_for_worker()
        manifest = self.page.execute_cdp_cmd("Page.getAppManifest", {})
        self.assertEqual(manifest["errors"], [])
        self.assertIn('"share_target"', manifest["data"])
        # Nobody vouches for this certificate; nothing else is in the way.
        found = self.page.execute_cdp_cmd("Page.getInstallabilityErrors", {})["installabilityErrors"]
        self.assertEqual([one["errorId"] for one in found], ["not-from-secure-origin"])


if __name__ == "__main__":
    main()
