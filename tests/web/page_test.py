#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The page in real browsers, beside a double of the program: what a person does and sees.

Runs inside scripts/private-desktop --network; CLIPMULE_BROWSER is chromium or webkit.
"""

import base64
import pathlib
import subprocess
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import PageTest, clip, main, until  # noqa: E402
from programs import clipboard, copy  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402

HOUR_MS = 3600000


def picture(size="40x30", kind="png", *more):
    """A picture whose left upper quarter is red."""
    width, height = (int(part) // 2 for part in size.split("x"))
    return subprocess.run(["convert", "-size", size, "xc:blue", "-fill", "red", "-draw",
                           f"rectangle 0,0 {width - 1},{height - 1}", *more, f"{kind}:-"],
                          capture_output=True, check=True).stdout


def look_at(content, expression="%m %w %h %[fx:255*p{1,1}.r],%[fx:255*p{1,1}.g],%[fx:255*p{1,1}.b] %[EXIF:*]"):
    """In words; nothing of what is no picture."""
    return subprocess.run(["identify", "-format", expression, "-"], input=content, capture_output=True,
                          check=False).stdout.decode().strip()


class ClipsTest(PageTest):
    def test_newest_first_with_what_when_and_from_where(self):
        old = clip("b", "yesterday")
        old["at"] -= 2 * HOUR_MS
        self.program.clips = [clip("a", "first", **{"from": "Anna"}), old]
        self.pair()
        self.wait_for_texts("first", "yesterday")
        self.assertEqual(self.shown("#clips .meta .words"),
                         ["Text · just now · from Anna", "Text · 2 hr. ago · from desk"])

    def test_tap_copies_exactly(self):
        text = "  zwei\n\tZeilen — 日本語 \U0001f434 <b>&amp;</b> "
        self.program.clips = [clip("a", text), clip("b", "other")]
        self.pair()
        for place in (".text", ".primary"):
            with self.subTest(place):
                copy("UTF8_STRING", b"before")
                self.tap(f"#clips li:first-child {place}")
                until("clipboard", lambda: clipboard("UTF8_STRING") == text.encode())
        self.until("a word about it", lambda: self.shown("#clips .done") == ["Copied"])
        self.assertIn("Copied", self.find("#announcer").get_attribute("textContent"))

    def test_nothing_is_copied_without_a_tap(self):
        self.pair()
        copy("UTF8_STRING", b"mine")
        self.program.add(clip("a", "theirs"))
        self.wait_for_texts("theirs")
        self.assertEqual(clipboard("UTF8_STRING"), b"mine")

    def test_arrival_is_marked_and_announced(self):
        self.program.clips = [clip("a", "old")]
        self.pair()
        self.wait_for_texts("old")
        self.assertEqual(self.shown("#clips .mark"), [])
        self.program.add(clip("b", "new"))
        self.wait_for_texts("new", "old")
        self.assertEqual(self.shown("#clips .mark"), ["New"])
        announcer = self.find("#announcer")
        self.assertEqual(announcer.get_attribute("textContent").strip(), "New from desk: new")
        self.assertEqual(announcer.get_attribute("aria-live"), "polite")

    def test_arrival_behind_another_tab_is_counted(self):
        self.pair()
        tab = self.page.current_window_handle
        self.run_script("Object.defineProperty(document, 'hidden', {value: true, configurable: true})")
        self.program.add(clip("a", "one"))
        self.program.add(clip("b", "two"))
        self.until("count", lambda: self.page.title == "(2) Clipmule")
        self.run_script("delete document.hidden; document.dispatchEvent(new Event('visibilitychange'))")
        self.until("no count", lambda: self.page.title == "Clipmule")
        self.assertEqual(self.page.current_window_handle, tab)

    def test_markup_stays_text(self):
        text = "<img src=x onerror=\"document.title='owned'\"><script>document.title='owned'</script>"
        self.program.computer = self.program.clips = text
        self.program.clips = [clip("a", text, title=text, kind="link", url="https://example.org/",
                                   **{"from": text})]
        self.pair()
        self.until("text", lambda: self.shown("#clips .text") == [text])
        self.assertEqual(self.shown("#computer")[0], text)
        self.assertEqual(self.all("main script, main img, header img"), [])
        self.assertEqual(self.page.title, "Clipmule")

    def test_only_links_of_known_kinds_open(self):
        kinds = {"https://example.org/a": True, "mailto:a@example.org": True, "tel:+4912345": True,
                 "javascript:alert(1)": False, "data:text/html,x": False, "file:///etc/passwd": False,
                 "nonsense": False}
        self.program.clips = [clip(f"c{number}", url, kind="link", url=url)
                              for number, url in enumerate(kinds)]
        self.pair()
        self.until("clips", lambda: len(self.all("#clips .card")) == len(kinds))
        for number, (url, opens) in enumerate(kinds.items()):
            links = self.all(f"#clips [data-clip=c{number}] a")
            self.assertEqual([link.get_attribute("href") for link in links], [url] if opens else [])
            for link in links:
                self.assertEqual(link.get_attribute("rel"), "noopener noreferrer")
                self.assertEqual(link.get_attribute("target"), "_blank")

    def test_long_text_folds(self):
        text = "\n".join(f"line {number}" for number in range(40))
        self.program.clips = [clip("a", text), clip("b", "short")]
        self.pair()
        self.wait_for_texts(text, "short")
        self.assertEqual(self.shown("#clips .fold"), ["Show all"])
        low = self.find("[data-clip=a] .text").size["height"]
        self.tap_button("Show all")
        self.until("whole text", lambda: self.find("[data-clip=a] .text").size["height"] > 4 * low)
        self.assertEqual(self.find("[data-clip=a] .fold").get_attribute("aria-expanded"), "true")
        self.tap_button("Show less")
        self.until("folded", lambda: self.find("[data-clip=a] .text").size["height"] == low)

    def test_a_text_of_which_only_the_beginning_came(self):
        text = "märz " * 10000
        self.program.contents[("a", "text")] = text.encode()
        self.program.clips = [clip("a", text[:1000], length=len(text))]
        self.pair()
        self.program.hear("fetch")
        self.until("copy button", lambda: self.button("Copy", "#clips"))
        self.tap_button("Copy", "#clips")
        until("whole clipboard", lambda: clipboard("UTF8_STRING") == text.encode())

    def test_a_very_long_text_is_loaded_when_wanted(self):
        text = "0123456789" * 20001
        self.program.contents[("a", "text")] = text.encode()
        self.program.clips = [clip("a", text[:1000], length=len(text)), clip("b", "other")]
        self.pair()
        self.tap_button("Load (200 kB)", "#clips")
        self.until("copy button", lambda: self.button("Copy", "[data-clip=a]"))
        self.tap("[data-clip=a] .primary")
        until("whole clipboard", lambda: clipboard("UTF8_STRING") == text.encode())

    def test_what_is_gone_meanwhile(self):
        self.program.clips = [clip("a", "begin", length=100)]
        self.pair()
        self.until("complaint", lambda: self.shown("#clips .error")
                   == ["The computer does not have this any more."])

    def test_picture(self):
        content = picture("640x480")
        self.program.contents[("p", "picture")] = content
        self.program.clips = [{"id": "p", "at": 1700000000000, "from": "desk", "kind": "picture",
                               "picture": {"type": "image/png", "size": len(content), "width": 640,
                                           "height": 480}}]
        self.pair()
        self.until("picture", lambda: self.run_script(
            "const [image] = document.querySelectorAll('#clips img');"
            "return image.complete && image.naturalWidth === 640"))
        self.assertEqual(self.find("#clips img").get_attribute("alt"), "Picture from desk, 640 × 480")
        self.assertEqual(self.shown("#clips .hint"), [
            "To copy the picture, touch and hold it. Over plain HTTP, browsers let no page do that."])
        save = self.button("Save", "#clips")
        self.assertEqual(save.get_attribute("download"), "clip-2023-11-14-22-13-20.png")
        self.assertEqual(base64.b64decode(self.run_module(
            "const bytes = new Uint8Array(await (await fetch(args[0])).arrayBuffer());"
            "return btoa(String.fromCharCode(...bytes))", save.get_attribute("href"))), content)

    def test_a_picture_of_a_kind_that_may_hold_scripts_is_not_shown(self):
        self.program.clips = [clip("a", "x", picture={"type": "image/svg+xml", "size": 10})]
        self.pair()
        self.wait_for_texts("x")
        self.assertEqual(self.all("#clips img"), [])

    def test_ten_megabytes(self):
        content = picture("1200x1000", "png", "-depth", "16", "+noise", "Random", "-define",
                          "png:compression-level=0")
        self.assertGreater(len(content), 5000000)
        self.program.contents[("p", "picture")] = content
        self.program.clips = [{"id": "p", "at": 1, "kind": "picture", "picture":
                               {"type": "image/png", "size": len(content), "width": 1200, "height": 1000}}]
        self.pair()
        self.until("picture", lambda: self.run_script(
            "return document.querySelector('#clips img').naturalWidth") == 1200)

    def test_removing(self):
        self.program.clips = [clip("a", "one"), clip("b", "two"), clip("c", "three")]
        self.pair()
        self.tap("[data-clip=a] .round")
        self.assertEqual(self.program.hear("remove")[0]["clip"], "a")
        self.wait_for_texts("two", "three")
        self.program.say(**{"is": "gone", "clips": ["c"]})
        self.wait_for_texts("two")
        self.program.say(**{"is": "gone", "clips": ["b", "never there"]})
        self.until("empty list", lambda: self.shown("#welcome h2") == ["Ready"])

    def test_the_same_clip_again_is_shown_once(self):
        self.program.clips = [clip("a", "one"), clip("b", "two")]
        self.pair()
        self.program.say(**{"is": "clip", "clip": clip("b", "two")})
        self.wait_for_texts("two", "one")

    def test_a_hundred_cards_at_most(self):
        self.program.clips = [clip(f"c{number}", str(number)) for number in range(101)]
        self.pair()
        self.until("cards", lambda: len(self.all("#clips .card")) == 100)
        self.program.say(**{"is": "clip", "clip": clip("new", "new")})
        self.until("the new one", lambda: self.all("[data-clip=new]"))
        self.assertEqual(len(self.all("#clips .card")), 100)
        self.assertEqual(self.all("[data-clip=c99]"), [])

    def test_what_came_while_it_was_closed(self):
        self.program.clips = [clip("a", "before")]
        self.pair()
        self.wait_for_texts("before")
        self.page.get("about:blank")
        later = clip("b", "meanwhile")
        later["at"] += 5000
        self.program.clips.insert(0, later)
        self.page.get(self.program.origin)
        self.wait_for_texts("meanwhile", "before")
        self.assertEqual(self.shown("#clips .mark"), ["New"])

    def test_a_list_in_several_messages(self):
        self.program.clips = [clip("a", "old")]
        self.pair()
        self.wait_for_texts("old")
        self.program.say(**{"is": "clips", "clips": [clip("b", "two")], "more": True})
        self.program.say(**{"is": "clips", "clips": [clip("c", "one")]})
        self.wait_for_texts("two", "one")


class SendingTest(PageTest):
    def wait_for_row(self, *words):
        self.until(f"row {words}", lambda: self.shown("#outbox .status") == list(words))

    def sent(self):
        message, content = self.program.hear("send")
        return message, content

    def test_text_as_it_was_written(self):
        self.pair()
        self.write("  eins" + Keys.ENTER + "zwei 日本 <b>" + Keys.ENTER + Keys.ENTER + "vier ")
        self.tap("#send")
        message, content = self.sent()
        self.assertEqual(content.decode(), "  eins\nzwei 日本 <b>\n\nvier ")
        self.assertEqual((message["kind"], message["relay"]), ("text", False))
        self.wait_for_row("desk has it")
        self.assertEqual(self.written(), "")
        self.wait_for_row()
        self.assertEqual(self.waits(), 0)

    def test_for_the_other_phones_only(self):
        self.pair()
        self.write("x")
        self.run_script("document.querySelector('#target').value = 'phones'")
        self.press(Keys.ENTER)
        message, _ = self.sent()
        self.assertTrue(message["relay"])
        self.wait_for_row("Sent to the other phones")

    def test_pasted_text_keeps_no_looks(self):
        self.pair()
        copy("text/html", b"<b>bold</b>")
        copy("UTF8_STRING", "zwei\nZeilen <b>ä</b>".encode())
        self.write("a ")
        self.press("v")
        self.until("text", lambda: "Zeilen" in self.written())
        self.tap("#send")
        self.assertEqual(self.sent()[1].decode(), "a zwei\nZeilen <b>ä</b>")

    def test_pasted_picture(self):
        self.pair()
        copy("image/png", picture("64x48"))
        self.write("with it")
        self.press("v")
        self.until("picture", lambda: self.all("#attached li"))
        self.until("ready", lambda: self.find("#send").is_enabled())
        self.assertEqual(self.all("#box img"), [])
        self.tap("#send")
        self.assertEqual(self.sent()[1], b"with it")
        message, content = self.sent()
        self.assertEqual((message["kind"], message["type"]), ("picture", "image/png"))
        self.assertEqual(look_at(content), "PNG 64 48 255,0,0")
        self.assertEqual(self.all("#attached li"), [])

    def test_photo_of_twelve_megapixels(self):
        plain = picture("4000x3000", "jpeg", "-quality", "92")
        # Turned to the right by the reader, and where it was taken.
        file = self.folder / "photo.jpg"
        file.write_bytes(plain[:2] + EXIF + plain[2:])
        self.assertIn("exif:Orientation=6", look_at(file.read_bytes()))
        self.pair()
        self.find("#choose").send_keys(str(file))
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_enabled())
        self.tap("#send")
        message, content = self.sent()
        self.assertEqual((message["kind"], message["type"]), ("picture", "image/jpeg"))
        self.assertNotIn(b"Exif", content)
        self.assertNotIn(b"GPS", content)
        self.assertEqual(look_at(content, "%m %w %h"), "JPEG 1200 1600")
        # The red quarter was on the left above; upright it is on the right.
        red, blue = (look_at(content, f"%[fx:100*p{{{x},5}}.r],%[fx:100*p{{{x},5}}.b]").split(",")
                     for x in (1190, 10))
        self.assertGreater(float(red[0]), 90)
        self.assertGreater(float(blue[1]), 90)

    def test_what_is_no_picture(self):
        self.pair()
        file = self.folder / "no.png"
        file.write_bytes(b"no picture")
        self.find("#choose").send_keys(str(file))
        self.until("complaint", lambda: self.shown("#compose-error")
                   == ["This browser cannot read that picture."])
        self.assertFalse(self.find("#send").is_displayed())

    def test_the_most_bytes(self):
        self.program.limits = {"text": 10, "picture": 10}
        self.pair()
        self.write("12345678901")
        self.tap("#send")
        self.until("complaint", lambda: self.shown("#compose-error") == ["Too long. At most 10 characters."])
        self.assertEqual(self.written(), "12345678901")
        self.find("#box").send_keys(Keys.BACKSPACE)
        self.tap("#send")
        self.assertEqual(self.sent()[1], b"1234567890")
        # Not its bytes count.
        self.write("日本語の十文字です。")
        self.tap("#send")
        self.assertEqual(self.sent()[1].decode(), "日本語の十文字です。")
        file = self.folder / "picture.png"
        file.write_bytes(picture())
        self.find("#choose").send_keys(str(file))
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_enabled())
        self.tap("#send")
        self.until("complaint", lambda: self.shown("#compose-error") == ["Too large. At most 10 bytes."])

    def test_a_text_that_the_computer_refuses_comes_back(self):
        self.pair()
        for why, words in (("tooLarge", "Too long. At most 9,999,999 characters."),
                           ("malformed", "The computer did not take it.")):
            self.program.answer = {"is": "notSent", "why": why}
            self.write("precious")
            self.tap("#send")
            self.wait_for_row(words)
            self.tap_button("Back to the box", "#outbox")
            self.until("text", lambda: self.written() == "precious")
            self.wait_for_row()
            self.run_script("document.querySelector('#box').textContent = ''")

    def test_it_goes_when_the_desk_is_there(self):
        self.pair()
        for why, words in (("off", "Waiting: sync is switched off on the computer"),
                           ("noDesk", "Waiting until sync runs on the computer")):
            self.program.answer = {"is": "notSent", "why": why}
            self.program.say(**{"is": "state", "desk": "off"})
            self.wait_for_state("desk-off")
            self.write("later")
            self.tap("#send")
            self.sent()
            self.wait_for_row(words)
            self.assertEqual(self.waits(), 1)
            self.program.answer = {"is": "sent"}
            self.program.say(**{"is": "state", "desk": "connected"})
            self.assertEqual(self.sent()[1], b"later")
            self.wait_for_row("desk has it")
            self.wait_for_row()

    def test_what_the_program_keeps(self):
        self.program.answer = {"is": "waiting"}
        self.pair()
        self.write("keep")
        self.tap("#send")
        number = self.sent()[0]["transfer"]
        self.wait_for_row("desk keeps it until sync runs again")
        self.assertEqual(self.waits(), 0)
        self.program.say(**{"is": "sent", "for": number})
        self.wait_for_row("desk has it")

    def test_without_connection_it_waits_also_through_a_reload(self):
        self.pair()
        self.program.stop()
        self.wait_for_state("lost")
        self.write("one")
        self.tap("#send")
        self.wait_for_row("Waiting for the connection")
        self.program.start()
        self.assertEqual(self.sent()[1], b"one")
        self.wait_for_row("desk has it")
        self.wait_for_row()
        self.program.answer = None
        self.write("two")
        self.tap("#send")
        self.assertEqual(self.sent()[1], b"two")
        self.program.answer = {"is": "sent"}
        self.page.refresh()
        self.program.hear("resume")
        # The tab that had it in hand has no sign of life any more.
        self.run_module(
            "const {outboxStore} = await import('/store.js');"
            "for (const item of await outboxStore.all()) await outboxStore.update({...item, until: 0});"
            "new BroadcastChannel('clipmule-outbox').postMessage('changed');")
        self.assertEqual(self.sent()[1], b"two")
        self.until("nothing kept", lambda: self.waits() == 0)
        self.assertTrue(self.program.heard.empty())

    def test_two_tabs_send_once(self):
        self.pair()
        first = self.page.current_window_handle
        self.program.stop()
        self.wait_for_state("lost")
        for word in ("one", "two", "three"):
            self.write(word)
            self.tap("#send")
            self.until("kept", lambda: self.written() == "")
        self.program.start()
        self.page.switch_to.new_window("tab")
        self.page.get(self.program.origin)
        self.wait_for_state("desk-connected")
        got = [self.sent()[1] for _ in range(3)]
        self.assertEqual(sorted(got), [b"one", b"three", b"two"])
        self.until("nothing kept", lambda: self.waits() == 0)
        self.page.switch_to.window(first)
        self.wait_for_state("desk-connected")
        self.wait_for_row()
        self.assertFalse([message for message, _ in list(self.program.heard.queue)
                          if message["is"] == "send"])

    def test_taken_back_while_it_waits(self):
        self.program.answer = None
        self.pair()
        self.write("wrong")
        self.tap("#send")
        number = self.sent()[0]["transfer"]
        self.tap("#outbox .round")
        self.assertEqual(self.program.hear("cancel")[0]["transfer"], number)
        self.wait_for_row()
        self.assertEqual(self.waits(), 0)
        self.program.answer = {"is": "sent"}
        self.write("right")
        self.tap("#send")
        self.assertEqual(self.sent()[1], b"right")

    def test_no_more_than_twenty_wait(self):
        self.pair()
        self.program.stop()
        self.wait_for_state("lost")
        put = ("const {outboxStore} = await import('/store.js'); const kept = [];"
               "for (let size of args[0]) kept.push(await outboxStore.add({kind: 'text', type: '',"
               "bytes: new ArrayBuffer(size), relay: false, label: 'x'}) !== null);"
               "return kept")
        self.assertEqual(self.run_module(put, [(40 << 20) + 1, 40 << 20, 0, 1]), [False, True, True, False])
        self.assertEqual(self.run_module(put, [0] * 19), [True] * 18 + [False])
        self.write("one more")
        self.tap("#send")
        self.until("complaint", lambda: self.shown("#compose-error")
                   == ["Too much is waiting already. Send or remove something first."])
        self.assertEqual(self.written(), "one more")

    def test_large_picture_with_progress(self):
        self.pair()
        seen = ("window.seen = []; new MutationObserver(() => seen.push(document.querySelector("
                "'#outbox .status')?.textContent)).observe(document.querySelector('#outbox'),"
                "{subtree: true, childList: true, characterData: true})")
        self.run_script(seen)
        file = self.folder / "noise.png"
        file.write_bytes(picture("1400x1300", "png", "+noise", "Random"))
        self.find("#choose").send_keys(str(file))
        self.until("ready", lambda: self.all("#attached li") and self.find("#send").is_enabled())
        self.tap("#send")
        message, content = self.sent()
        # Its PNG is above what is sent as PNG.
        self.assertEqual(look_at(content, "%m %w %h"), "JPEG 1400 1300")
        self.assertEqual(len(content), message["size"])
        self.wait_for_row("desk has it")
        percents = [text for text in self.run_script("return seen") if text and text.endswith(" %")]
        self.assertIn("Sending… 100 %", percents)
        self.assertGreater(len(set(percents)), 3)


class FiltersTest(PageTest):
    def choose(self, label):
        self.tap_button(label, "#sheet")

    def test_of_a_clip_previewed_then_copied(self):
        self.program.clips = [clip("a", "Straße <b>")]
        self.pair()
        self.tap_button("Change the text", "#clips")
        self.choose("Upper Case")
        self.until("preview", lambda: self.shown(".preview") == ["STRASSE <B>"])
        self.choose("Reverse")
        self.until("preview", lambda: self.shown(".preview") == [">b< eßartS"])
        self.assertEqual(self.shown(".choice[aria-pressed=true]"), ["Reverse"])
        self.tap_button("Copy", "#sheet")
        until("clipboard", lambda: clipboard("UTF8_STRING") == ">b< eßartS".encode())
        self.until("closed", lambda: not self.find("#sheet").is_displayed())

    def test_of_what_is_written(self):
        self.pair()
        self.write("Hallo")
        self.tap("#filter-box")
        self.choose("Upper Case")
        self.until("preview", lambda: self.shown(".preview") == ["HALLO"])
        self.tap_button("Use it", "#sheet")
        self.until("text", lambda: self.written() == "HALLO")
        self.tap("#send")
        self.assertEqual(self.program.hear("send")[1], b"HALLO")

    def test_of_a_text_as_long_as_it_may_be(self):
        self.program.limits = {"text": 3, "picture": 3}
        self.pair()
        self.write("äöü")
        self.tap("#filter-box")
        self.choose("Upper Case")
        self.until("preview", lambda: self.shown(".preview") == ["ÄÖÜ"])
        self.tap("#sheet-close")
        self.until("page again", lambda: not self.all("dialog[open]"))
        self.write("!")
        self.tap("#filter-box")
        self.choose("Upper Case")
        self.until("word", lambda: "Too long. At most 3 characters." in self.shown("#sheet .hint"))

    def test_one_that_fails(self):
        self.program.clips = [clip("a", "x")]
        self.pair()
        self.tap_button("Change the text", "#clips")
        self.choose("Fails")
        self.until("word", lambda: "This text cannot be changed that way." in self.shown("#sheet .hint"))
        self.assertFalse(self.button("Copy", "#sheet").is_enabled())

    def test_without_connection(self):
        self.program.clips = [clip("a", "x")]
        self.pair()
        self.program.stop()
        self.wait_for_state("lost")
        self.tap_button("Change the text", "#clips")
        self.choose("Upper Case")
        self.until("word", lambda: any("Not connected" in text for text in self.shown("#sheet .hint")))


def exif():
    """An APP1 segment: turned by 90 degrees, and a place."""
    def entry(tag, kind, count, value):
        return tag.to_bytes(2, "big") + kind.to_bytes(2, "big") + count.to_bytes(4, "big") + value
    tiff = (b"MM\0\x2a\0\0\0\x08" + b"\0\x02" + entry(0x112, 3, 1, b"\0\x06\0\0")
            + entry(0x8825, 4, 1, (38).to_bytes(4, "big")) + bytes(4)
            + b"\0\x01" + entry(1, 2, 2, b"N\0\0\0") + bytes(4))
    content = b"Exif\0\0" + tiff
    return b"\xff\xe1" + (len(content) + 2).to_bytes(2, "big") + content


EXIF = exif()

if __name__ == "__main__":
    main()
