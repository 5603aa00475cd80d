# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Firefox and Chromium: a page of ours does what it is told, and tells what was pasted into it."""

import contextlib
import json
import queue
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from . import material
from .desk import free_folder
from .screen import need
from .trial import Program
from .verdicts import natives

# Between two questions of the page for what to do.
POLL_SECONDS = 20

PAGE = """<!doctype html><meta charset="utf-8"><title>clipmule page</title>
<style>html,body{margin:0;height:100%}body>*{width:100vw;height:100vh;font-size:24px;margin:0;
display:block;box-sizing:border-box;object-fit:fill;padding:0}</style><body><script>
const tell = what => fetch('/told', {method: 'POST', body: JSON.stringify(what)});
const pieces = {
 text: ['<p>TEXT</p>', 'select'],
 styled: ['<p><b>bold</b> and <i>italic</i></p>', 'select'],
 link: ['<a href="LINK">a link</a>'],
 image: ['<img src="/picture.png">'],
 photo: ['<img src="/photo.jpg">'],
 large: ['<img src="/large.jpg">'],
 input: ['<textarea></textarea>', 'focus'],
 rich: ['<div contenteditable></div>', 'focus'],
};
document.addEventListener('paste', event => tell({event: 'paste',
  types: Array.from(event.clipboardData.types), text: event.clipboardData.getData('text/plain')}));
const report = () => {
  const it = document.body.firstElementChild;
  const image = it && it.querySelector && it.querySelector('img');
  tell({event: 'field', text: it.value !== undefined ? it.value : it.innerText || '',
    html: it.value === undefined ? it.innerHTML.slice(0, 300) : '',
    image: image ? [image.naturalWidth, image.naturalHeight] : null});
};
const show = async kind => {
  const [html, how] = pieces[kind];
  document.body.innerHTML = html;
  const it = document.body.firstElementChild;
  if (it.tagName === 'IMG') await it.decode();
  if (how === 'select') getSelection().selectAllChildren(it);
  if (how === 'focus') it.focus();
  await new Promise(done => requestAnimationFrame(() => requestAnimationFrame(done)));
  tell({event: 'shown', kind: kind, focus: document.hasFocus()});
};
document.addEventListener('input', () => { report(); setTimeout(report, 300); setTimeout(report, 1500); });
(async () => { for (;;) {
  const kind = await (await fetch('/next')).text();
  if (kind) await show(kind);
}})();
</script>"""


class Page:
    """Serves the page on loopback."""

    def __init__(self, stuff):
        page = PAGE.replace("TEXT", material.TEXT).replace("LINK", material.LINK).encode()
        commands = self.commands = queue.Queue()
        told = self.told = []
        files = {"/picture.png": stuff.png, "/photo.jpg": stuff.photo,
                 "/large.jpg": stuff.large_photo}

        class Handler(BaseHTTPRequestHandler):
            def answer(self, data, kind="text/html; charset=utf-8"):
                self.send_response(200)
                self.send_header("Content-Type", kind)
                self.send_header("Content-Length", str(len(data)))
                self.send_header("Cache-Control", "no-store")
                self.end_headers()
                self.wfile.write(data)

            def do_GET(self):
                if self.path == "/next":
                    try:
                        self.answer(commands.get(timeout=POLL_SECONDS).encode())
                    except queue.Empty:
                        self.answer(b"")
                elif self.path in files:
                    self.answer(files[self.path].read_bytes(),
                                "image/png" if self.path.endswith("png") else "image/jpeg")
                else:
                    self.answer(page)

            def do_POST(self):
                told.append(json.loads(self.rfile.read(int(self.headers["Content-Length"]))))
                self.answer(b"")

            def handle(self):
                # The browser ends whenever it likes.
                with contextlib.suppress(ConnectionError):
                    super().handle()

            def log_message(self, *_):
                pass

        self.server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.url = f"http://127.0.0.1:{self.server.server_address[1]}/"

    def show(self, kind):
        mark = len(self.told)
        self.commands.put(kind)
        shown = need(f"page with {kind}", lambda: next(
            (told for told in self.told[mark:] if told["event"] == "shown"), None), 20)
        return shown

    def end(self):
        self.server.shutdown()
        self.server.server_close()


class Browser(Program):
    """Shows our page, which selects what is copied and has the fields that are pasted into."""

    kind = ""
    link_key = image_key = ""

    def command(self, profile):
        raise NotImplementedError

    def start(self):
        self.page = Page(self.stuff)
        profile = free_folder(self.desk.folder / f"profile-{self.kind}")
        self.process = self.desk.launch(*self.command(profile), self.page.url)
        self.window = self.desk.window(self.kind, "clipmule page")
        self.show("text")

    def stop(self):
        super().stop()
        self.page.end()

    def show(self, kind):
        self.screen.activate(self.window)
        shown = self.page.show(kind)
        if not shown["focus"]:
            self.screen.click_middle(self.window)
            need("focus in the page", lambda: self.page.show(kind)["focus"], 10)

    def copy_text(self):
        self.show("text")
        self.screen.key("ctrl+c")
        return lambda item: item.get("string") == material.TEXT

    def copy_styled(self):
        self.show("styled")
        self.screen.key("ctrl+c")
        return lambda item: item.get("string") == material.STYLED and has_native(item, "html")

    def copy_link(self):
        self.show("link")
        self.screen.menu_key(self.window, self.link_key)
        return lambda item: material.LINK in (item.get("url"), item.get("string"))

    def copy_image(self):
        self.show("image")
        self.screen.menu_key(self.window, self.image_key)
        return lambda item: is_picture(item, material.PICTURE_SIZE)

    def copy_photo(self):
        self.show("photo")
        self.screen.menu_key(self.window, self.image_key)
        return lambda item: "imageData" in item

    def copy_large_photo(self):
        self.show("large")
        self.screen.menu_key(self.window, self.image_key)
        return lambda item: "imageData" in item

    def into(self, field, accepts):
        self.show(field)
        self.mark = len(self.page.told)

        def seen():
            fields = [told for told in self.page.told[self.mark:] if told["event"] == "field"]
            return fields and accepts(fields[-1])
        return seen

    def into_both(self, text):
        """Rich fields take what plain ones do, and more: the plain one first, by our own keys."""
        return self.into("rich", lambda field: text in field["text"]
                         and ("as a link" if "<a" in field["html"] else "as text"))

    def paste_text(self, text):
        return self.into_both(text)

    def paste_url(self, text):
        return self.into_both(text)

    def paste_strings(self, text):
        return self.into_both(text)

    def paste_png(self, _):
        return self.into("rich", picture_in)

    def paste_jpeg(self, _):
        return self.into("rich", picture_in)

    def instead(self):
        pastes = [told for told in self.page.told[self.mark:] if told["event"] == "paste"]
        if not pastes:
            return ""
        return "nothing inserted; the page was given " + (", ".join(pastes[-1]["types"]) or "nothing")


class Firefox(Browser):
    title = "Firefox"
    packages = ("firefox-esr",)
    kind = "firefox"
    link_key, image_key = "l", "y"

    def command(self, profile):
        off = ("browser.shell.checkDefaultBrowser", "browser.aboutwelcome.enabled",
               "datareporting.policy.dataSubmissionEnabled", "app.normandy.enabled",
               "network.captive-portal-service.enabled", "extensions.update.enabled",
               "network.connectivity-service.enabled", "browser.sessionstore.resume_from_crash")
        lines = [f'user_pref("{name}", false);' for name in off]
        lines.append('user_pref("browser.startup.homepage_override.mstone", "ignore");')
        lines.append('user_pref("termsofuse.acceptedVersion", 999);')
        lines.append('user_pref("browser.preonboarding.enabled", false);')
        (profile / "user.js").write_text("\n".join(lines) + "\n", encoding="utf-8")
        return "firefox-esr", "--no-remote", "--profile", profile


class Chromium(Browser):
    title = "Chromium"
    packages = ("chromium",)
    kind = "chromium"
    link_key, image_key = "e", "y"

    def command(self, profile):
        # The sandbox refuses to run for root.
        return ("chromium", "--no-sandbox", "--test-type", "--no-first-run", "--disable-gpu",
                "--no-default-browser-check", "--disable-sync", "--password-store=basic",
                "--disable-component-update", f"--user-data-dir={profile}")


def has_native(item, part):
    return any(part in name for name in natives(item))


def is_picture(item, size):
    image = item.get("imageData") or {}
    return (image.get("width"), image.get("height")) == size


def picture_in(field):
    return field["image"] and field["image"][0] and f"{field['image'][0]}×{field['image'][1]}"
