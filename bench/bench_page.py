#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The page: how long a copy takes from the desk to the page and back, what clipmule-web takes at rest, and what
a browser fetches.

The real agent and clipmule-web in a private desktop, with a page without a browser, which costs next to nothing,
and the page in Chromium where that is installed. --bin says where the programs are, --json where the figures go.
"""

import contextlib
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
sys.path.insert(0, str(ROOT / "bench"))
import browsers  # noqa: E402
from bench_idle import SETTLING_SECONDS, Process, idle, main  # noqa: E402
from bench_latency import percentile  # noqa: E402
from page import Page  # noqa: E402
from programs import PATIENCE_SECONDS, Program, StepFailed, clipboard, copy, until  # noqa: E402

ADDRESS = "10.77.0.1"
TEXTS, PICTURES = 40, 12
# The agent takes the last of copies that follow one another within half a second.
PAUSE_SECONDS = 0.8
# Noise, which no compression makes smaller: 9.9 MB.
SIDES = "1817x1816"
OBSERVE = """
window.seen = {};
window.pictures = 0;
new MutationObserver(() => {
    for (const one of document.querySelectorAll('#clips .text'))
        seen[one.textContent] ??= Date.now();
}).observe(document.body, {subtree: true, childList: true, characterData: true});
document.addEventListener('load', event => {
    if (event.target.tagName === 'IMG')
        window.pictures = Date.now();
}, true);
"""
# What arrives is pasted where the keyboard is: not into the box.
SEND = """
document.activeElement.blur();
const start = Date.now();
document.querySelector('#send').click();
return start;
"""
WEIGHT = """
return [...performance.getEntriesByType('navigation'), ...performance.getEntriesByType('resource')]
    .reduce((sum, one) => sum + one.transferSize, 0);
"""


def pictures(folder):
    """As many as are copied, each another one."""
    for number in range(PICTURES):
        path = pathlib.Path(folder) / f"{number}.png"
        subprocess.run(["convert", "-seed", str(number), "-size", SIDES, "xc:gray", "+noise", "Random",
                        "-depth", "8", "-define", "png:compression-level=0", f"png24:{path}"], check=True)
    return [path.read_bytes() for path in sorted(pathlib.Path(folder).glob("*.png"))]


def row(case, times):
    return {"case": case, "unit": "ms", "p50": round(statistics.median(times), 1),
            "p95": round(percentile(times, 0.95), 1), "n": len(times)}


def figure(case, unit, value):
    return {"case": case, "unit": unit, "p50": value, "p95": "", "n": 1}


def since(start):
    return 1000 * (time.time() - start)


def seen(what, condition):
    """Asks as often as it can: a pause would be in the figure."""
    deadline = time.monotonic() + PATIENCE_SECONDS
    while not condition():
        if time.monotonic() > deadline:
            raise StepFailed(f"no {what} within {PATIENCE_SECONDS} s")


def repeated(times, work):
    results = []
    for number in range(times):
        time.sleep(PAUSE_SECONDS)
        results.append(work(number))
    return results


class Bench:
    def __init__(self, page, images):
        self.page = page
        self.images = images

    def text_to_page(self, number):
        text = f"a line of text {number:05}"
        start = time.time()
        copy("UTF8_STRING", text.encode())
        while self.page.hear("clip")["clip"].get("text") != text:
            pass
        return since(start)

    def picture_to_page(self, number):
        start = time.time()
        copy("image/png", self.images[number])
        while (clip := self.page.hear("clip")["clip"])["kind"] != "picture":
            pass
        self.page.fetch(clip["id"], "picture")
        return since(start)

    def text_to_clipboard(self, number):
        text = f"a line of text {number:05}".encode()
        start = time.time()
        self.page.send("text", text)
        seen("text", lambda: clipboard("UTF8_STRING") == text)
        return since(start)

    def picture_to_clipboard(self, number):
        copy("UTF8_STRING", b"none")
        while self.page.hear("clip")["clip"].get("text") != "none":
            pass
        start = time.time()
        self.page.send("picture", self.images[number])
        seen("picture", lambda: b"image/png" in clipboard("TARGETS"))
        clipboard("image/png")
        return since(start)

    def rows(self):
        return [row("20 bytes to a page", repeated(TEXTS, self.text_to_page)),
                row("9.9 MB to a page", repeated(PICTURES, self.picture_to_page)),
                row("20 bytes to the clipboard", repeated(TEXTS, self.text_to_clipboard)),
                row("9.9 MB to the clipboard", repeated(PICTURES, self.picture_to_clipboard))]


class BrowserBench(Bench):
    """In Chromium; its page cannot send a picture of that size, which it makes smaller."""

    def text_to_page(self, number):
        text = f"browser's text {number:05}"
        start = time.time()
        copy("UTF8_STRING", text.encode())
        shown = until("text", lambda: self.page.execute_script("return seen[arguments[0]]", text))
        return shown - 1000 * start

    def picture_to_page(self, number):
        self.page.execute_script("window.pictures = 0")
        start = time.time()
        copy("image/png", self.images[number])
        shown = until("picture", lambda: self.page.execute_script("return window.pictures"))
        return shown - 1000 * start

    def text_to_clipboard(self, number):
        text = f"browser's text {number:05}"
        self.page.find_element("id", "box").send_keys(text)
        start = self.page.execute_script(SEND) / 1000
        seen("text", lambda: clipboard("UTF8_STRING") == text.encode())
        return since(start)

    def rows(self):
        return [figure("fetched by a browser, compressed", "kB", round(self.page.execute_script(WEIGHT) / 1000, 1)),
                row("20 bytes shown in Chromium", repeated(TEXTS, self.text_to_page)),
                row("9.9 MB shown in Chromium", repeated(PICTURES, self.picture_to_page)),
                row("20 bytes of Chromium to the clipboard", repeated(TEXTS, self.text_to_clipboard))]


def at_rest(web, case, seconds):
    time.sleep(SETTLING_SECONDS)
    measured = idle(Process(web.process.pid), case, seconds)
    return [figure(f"{case}: resident", "MB", measured["resident MB"]),
            figure(f"{case}: of these its own", "MB", measured["of these own MB"]),
            figure(f"{case}: wake-ups", "a second", measured["wake-ups a second"])]


def in_browser(binaries, folder, images):
    link = subprocess.run([binaries / "clipmule-web", "code"], capture_output=True, text=True,
                          check=True).stdout.splitlines()[-1]
    driver = browsers.chromium(folder)
    try:
        driver.get(link)
        until("desk", lambda: driver.execute_script("return document.querySelector('#status').dataset.state")
              == "desk-connected")
        driver.execute_script(OBSERVE)
        return BrowserBench(driver, images).rows()
    finally:
        driver.quit()


def measure(binaries, seconds, log):
    browsers.make_network(ADDRESS)
    with contextlib.ExitStack() as stack:
        images = pictures(stack.enter_context(tempfile.TemporaryDirectory()))
        data = stack.enter_context(tempfile.TemporaryDirectory())
        web = Program("web", [str(binaries / "clipmule-web"), "--port", "0", "--address", ADDRESS,
                              "--data", data], log)
        stack.callback(web.stop)
        link = web.wait_for("code", lambda line: line if line.startswith("http") else None)
        page = Page(link)
        agent = Program("agent", [str(binaries / "clipmule-sync")], log)
        stack.callback(agent.stop)
        while page.hear("state")["desk"] != "connected":
            pass
        page.close()
        rows = at_rest(web, "no page", seconds)
        pages = [Page(link, page.kept) for _ in range(4)]
        rows += at_rest(web, "four pages", seconds)
        for one in pages[1:]:
            one.close()
        # The agent looks for what is copied a moment after it is connected.
        until("first clip", lambda: copy("UTF8_STRING", b"ready") or pages[0].hear("clip"))
        rows += Bench(pages[0], images).rows()
        pages[0].close()
        rows += at_rest(web, "no page, after them", seconds)
        if os.path.exists(browsers.CHROMEDRIVER):
            rows += in_browser(binaries, stack.enter_context(tempfile.TemporaryDirectory()), images)
        return rows


if __name__ == "__main__":
    main(__file__, "Measures the page in a private desktop.", {"X11": ["--network"]}, measure)
