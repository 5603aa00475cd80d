#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What the page makes of a browser that can more than these here, or less; and what it says.

Runs inside scripts/private-desktop --network; CLIPMULE_BROWSER is chromium or webkit.
"""

import pathlib
import re
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import PageTest, clip, main, until  # noqa: E402
from page_test import look_at, picture  # noqa: E402
import double  # noqa: E402
from programs import clipboard, copy  # noqa: E402

# Each notes what it was asked for.
CAN_SHARE = """
window.asked = [];
navigator.canShare = ({files}) => files.every(({type}) => type === 'image/png');
navigator.share = async what => {
    asked.push(what.files ? {name: what.files[0].name, type: what.files[0].type, size: what.files[0].size} : what);
};
"""
CAN_SHAKE = """
window.asked = [];
Object.defineProperty(navigator, 'vibrate', {value: time => asked.push(time)});
"""
HAS_BADGE = """
window.asked = [];
navigator.setAppBadge = async count => { asked.push(count); throw new Error('not installed'); };
navigator.clearAppBadge = async () => { asked.push('none'); };
addEventListener('unhandledrejection', () => asked.push('unheard'));
"""
HAS_CLIPBOARD = """
window.asked = [];
window.allows = true;
Object.defineProperty(navigator, 'clipboard', {value: {writeText: async text => {
    if (!allows) throw new DOMException('no', 'NotAllowedError');
    asked.push(text);
}}});
"""
STORES_NOTHING = """
Storage.prototype.setItem = () => { throw new DOMException('full', 'QuotaExceededError'); };
IDBFactory.prototype.open = () => { throw new DOMException('none', 'InvalidStateError'); };
"""


def picture_clip(number, content, **more):
    return {"id": number, "at": 1700000000000, "kind": "picture",
            "picture": {"type": "image/png", "size": len(content), **more}}


class AbilitiesTest(PageTest):
    def asked(self):
        return self.run_script("return asked")

    def test_texts_links_and_pictures_are_shared(self):
        content = picture()
        self.program.before = CAN_SHARE
        self.program.contents[("p", "picture")] = content
        self.program.clips = [clip("a", "words"), clip("b", "https://example.org/", kind="link",
                                                       url="https://example.org/"), picture_clip("p", content)]
        self.pair()
        for number, what in (("a", {"text": "words"}), ("b", {"url": "https://example.org/"}),
                             ("p", {"name": "clip-2023-11-14-22-13-20.png", "type": "image/png", "size": len(content)})):
            self.tap_button("Share", f"[data-clip={number}]")
            self.until(f"share of {number}", lambda what=what: self.asked()[-1:] == [what])
        self.assertEqual(len(self.asked()), 3)

    def test_what_cannot_be_shared_has_no_button(self):
        content = picture("40x30", "jpeg")
        self.program.contents[("p", "picture")] = content
        clips = [clip("a", "words"), picture_clip("p", content)]
        clips[1]["picture"]["type"] = "image/jpeg"
        self.program.clips = clips
        self.pair()
        self.until("picture", lambda: self.button("Save", "[data-clip=p]"))
        self.assertIsNone(self.button("Share"))
        # One that shares, but no files of this kind.
        self.program.before = CAN_SHARE
        self.page.refresh()
        self.until("picture", lambda: self.button("Save", "[data-clip=p]"))
        self.assertIsNotNone(self.button("Share", "[data-clip=a]"))
        self.assertIsNone(self.button("Share", "[data-clip=p]"))

    def test_an_arrival_shakes_the_phone_and_nothing_else_does(self):
        self.program.before = CAN_SHAKE
        self.program.clips = [clip("a", "old")]
        self.pair()
        self.wait_for_texts("old")
        self.assertEqual(self.asked(), [])
        self.program.add(clip("b", "new"))
        self.wait_for_texts("new", "old")
        self.assertEqual(self.asked(), [30])

    def test_what_came_behind_its_back_is_counted_on_its_icon(self):
        self.program.before = HAS_BADGE
        self.pair()
        self.run_script("Object.defineProperty(document, 'hidden', {value: true, configurable: true})")
        self.program.add(clip("a", "one"))
        self.program.add(clip("b", "two"))
        self.until("count", lambda: self.asked() == [1, 2])
        self.run_script("delete document.hidden; document.dispatchEvent(new Event('visibilitychange'))")
        self.until("no count", lambda: self.asked() == [1, 2, "none"])

    def test_a_browser_that_lets_pages_copy_is_asked_first(self):
        self.program.before = HAS_CLIPBOARD
        self.program.clips = [clip("a", "one")]
        self.pair()
        copy("UTF8_STRING", b"before")
        self.tap("#clips .primary")
        self.until("copy", lambda: self.asked() == ["one"])
        self.until("word", lambda: self.shown("#clips .done") == ["Copied"])
        self.assertEqual(clipboard("UTF8_STRING"), b"before")
        # Where a setting forbids it, the other way is left.
        self.run_script("window.allows = false")
        self.tap("#clips .primary")
        until("clipboard", lambda: clipboard("UTF8_STRING") == b"one")

    def test_a_browser_that_lets_no_page_copy(self):
        self.program.before = "Document.prototype.execCommand = () => false;"
        self.program.clips = [clip("a", "one")]
        self.pair()
        self.tap("#clips .primary")
        words = "The browser did not allow copying. Touch and hold the text to select it."
        self.until("word", lambda: self.shown("#clips .error") == [words])
        self.assertIn(words, self.find("#announcer").get_attribute("textContent"))
        self.assertEqual(self.shown("#clips .done"), [])

    def test_a_browser_that_stores_nothing(self):
        self.program.before = STORES_NOTHING
        self.pair()
        self.assertEqual(self.stored(), {})
        self.forget_hellos()
        self.program.stop()
        self.wait_for_state("lost")
        self.write("for later")
        self.tap("#send")
        self.until("word", lambda: self.shown("#outbox .status") == [
            "Waiting for the connection · This browser stores nothing: it is kept only until you close the page."])
        self.program.start()
        # As long as the page lives, it knows its key.
        [number] = self.program.browsers
        self.assertEqual(self.next_hello(), (b"R", number))
        self.assertEqual(self.program.hear("send")[1], b"for later")
        self.until("word", lambda: self.shown("#outbox .status") == ["desk has it"])

    def test_a_photo_is_taken(self):
        self.pair()
        self.assertEqual(self.find("#take").get_attribute("capture"), "environment")
        file = self.folder / "photo.jpg"
        file.write_bytes(picture("64x48", "jpeg"))
        self.find("#take").send_keys(str(file))
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_enabled())
        self.tap("#send")
        self.assertEqual(look_at(self.program.hear("send")[1], "%m %w %h"), "JPEG 64 48")

    def test_something_is_dropped(self):
        self.pair()
        drop = ("const data = new DataTransfer(); {}; document.querySelector('#box').dispatchEvent("
                "new DragEvent('drop', {{dataTransfer: data, bubbles: true, cancelable: true}}));")
        self.run_script(drop.format("data.setData('text/plain', 'dropped <b>')"))
        self.until("text", lambda: self.written() == "dropped <b>")
        self.tap("#send")
        self.assertEqual(self.program.hear("send")[1], b"dropped <b>")

    def test_what_was_on_its_way_when_the_connection_broke(self):
        text, content = "märz " * 10000, picture()
        self.program.holds = True
        self.program.clips = [clip("a", text[:1000], length=len(text)), picture_clip("p", content)]
        self.pair()
        for _ in range(2):
            self.program.hear("fetch")
        self.program.stop()
        self.wait_for_state("lost")
        self.program.holds = False
        self.program.contents = {("a", "text"): text.encode(), ("p", "picture"): content}
        self.program.start()
        self.wait_for_state("desk-connected")
        self.until("picture", lambda: self.button("Save", "[data-clip=p]"))
        self.until("text", lambda: self.button("Copy", "[data-clip=a]"))
        self.tap("[data-clip=a] .primary")
        until("whole clipboard", lambda: clipboard("UTF8_STRING") == text.encode())


class WordsTest(PageTest):
    def test_what_plain_http_does_not_protect_from(self):
        self.pair()
        self.tap("#menu")
        words = [element.get_attribute("textContent") for element in self.all("#sheet details p")]
        self.assertTrue(words[0].startswith("Everything between this page and your computer is sealed"), words)
        self.assertTrue(words[1].startswith("This page came over plain HTTP. Somebody who can change"), words)

    def test_a_page_in_the_background_sleeps(self):
        self.pair()
        self.assertEqual(self.shown("#asleep"), [])
        self.program.add(clip("a", "one"))
        self.until("words", lambda: self.shown("#asleep") == [
            "While this page is in the background, your phone puts it to sleep. It catches up as soon as you open it."])
        for keeps, end in ((True, "the computer keeps the last clips."), (False, "does not come here.")):
            self.program.keeps = keeps
            self.page.refresh()
            self.wait_for_state("desk-connected")
            self.tap("#menu")
            self.until("words", lambda end=end: [
                element for element in self.all("#sheet details p")
                if element.get_attribute("textContent").endswith(end)])

    def test_where_nobody_knows_where_it_is_from(self):
        content = picture("640x480")
        self.program.contents[("p", "picture")] = self.program.contents[("q", "picture")] = content
        self.program.clips = [picture_clip("p", content, width=640, height=480),
                              {**picture_clip("q", content), "from": "Anna"}]
        self.pair()
        self.until("pictures", lambda: [image.get_attribute("alt") for image in self.all("#clips img")]
                   == ["Picture, 640 × 480", "Picture from Anna"])
        self.program.add(clip("b", "words", **{"from": ""}))
        self.until("word", lambda: self.find("#announcer").get_attribute("textContent").strip() == "New: words")

    def test_it_says_the_same_in_every_language(self):
        self.page.get(self.program.origin)
        spoken = self.run_module(
            "const spoken = {};"
            "for (const name of args[0]) spoken[name] = (await import(`/texts-${name}.js`)).texts; return spoken",
            ["en", "de", "ja"])
        page = "".join(path.read_text(encoding="utf-8") for path in sorted(double.PAGE.glob("*"))
                       if path.suffix in (".js", ".html") and not path.name.startswith("texts-"))

        def fields(text):
            return sorted(re.findall(r"\{\w+\}", text))
        for language, texts in spoken.items():
            with self.subTest(language):
                self.assertEqual(list(texts), list(spoken["en"]))
                for key, text in texts.items():
                    self.assertEqual(fields(text), fields(spoken["en"][key]), key)
                    # And nothing that is never said.
                    self.assertRegex(page, rf"['\"]{key}['\"]")
        # No two languages have the same sentence.
        for language in ("de", "ja"):
            same = [key for key, text in spoken[language].items() if text == spoken["en"][key] and " " in text
                    and not re.fullmatch(r"[^a-zA-Z]*(\{\w+\}[^a-zA-Z]*)+", text)]
            self.assertEqual(same, [])


if __name__ == "__main__":
    main()
