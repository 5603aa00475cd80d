#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The page's end of the protocol in real browsers: pairing, staying connected, and a program, or
somebody in its place, that does what it must not.

Runs inside scripts/private-desktop --network; CLIPMULE_BROWSER is chromium or webkit.
"""

import json
import pathlib
import secrets
import struct
import sys

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import BROWSER, PageTest, clip, main  # noqa: E402
import double  # noqa: E402

VECTORS = double.ROOT / "tests" / "data" / "page" / "handshake.json"


class PairingTest(PageTest):
    def test_the_code_leaves_no_trace_and_is_used_once(self):
        self.page.get(self.program.origin + "manifest.webmanifest")
        self.pair()
        self.assertEqual(self.run_script("return location.href"), self.program.origin)
        # The other browser's driver does not come back from there.
        if BROWSER == "chromium":
            self.page.back()
            self.page.forward()
            self.wait_for_state("desk-connected")
            self.assertEqual(self.run_script("return location.href"), self.program.origin)
            self.program.hear("resume")
        self.assertEqual(self.program.codes, [])
        self.assertFalse([path for path in self.program.requests if "#" in path])
        [(number, key)] = self.program.browsers.items()
        kept = json.loads(self.stored()["clipmule"])
        self.assertEqual((kept["id"], kept["key"]), (number.hex(), key.hex()))
        self.assertEqual(set(self.stored()), {"clipmule"})
        self.forget_hellos()
        self.page.refresh()
        self.assertEqual(self.next_hello(), (b"R", number))
        self.program.hear("resume")
        self.wait_for_state("desk-connected")

    def test_a_name_that_one_can_change(self):
        self.pair()
        [name] = self.program.names.values()
        self.assertIn(name, ("Android phone", "Linux"))
        self.assertEqual(self.shown("#banner p"), [f"desk knows this phone as “{name}”."])
        self.tap_button("Change the name")
        field = self.find("#name")
        self.assertEqual(field.get_attribute("value"), name)
        field.clear()
        field.send_keys("Anna’s <b>")
        self.tap_button("Save", "#sheet")
        self.assertEqual(self.program.hear("rename")[0]["name"], "Anna’s <b>")
        self.until("saved", lambda: "Saved" in self.shown("#sheet .hint"))
        self.assertEqual(json.loads(self.stored()["clipmule"])["name"], "Anna’s <b>")

    def test_a_code_scanned_while_the_page_is_open(self):
        self.page.get(self.program.origin)
        self.wait_for_state("none")
        link = self.program.link()
        self.run_script("location.hash = arguments[0]", link.split("#")[1])
        self.program.hear("pair")
        self.wait_for_state("desk-connected")
        self.assertEqual(self.run_script("return location.href"), self.program.origin)

    def test_a_part_of_the_page_that_did_not_come(self):
        for part in ("/card.js", "/texts-ja.js", "/page.css", "/worker.js", "/connection.js"):
            with self.subTest(part):
                self.page.get("about:blank")
                self.program.browsers.clear()
                self.program.stop()
                self.program.port = 0
                self.program.start()
                self.program.missing = [part]
                self.page.get(self.program.link())
                self.program.hear("pair")
                self.wait_for_state("desk-connected")

    def test_a_spent_code(self):
        link = self.program.link()
        self.program.codes.clear()
        self.page.get(link)
        self.until("words", lambda: self.shown("#welcome h2") == ["This code does not work any more"])
        self.assertEqual(self.stored(), {})
        self.assertFalse(self.find("#compose").is_displayed())

    def test_what_is_no_code(self):
        for wrong in ("x", "A" * 42, "A" * 44, "A" * 42 + "%"):
            self.page.get("about:blank")
            self.page.get(self.program.origin + "#" + wrong)
            self.wait_for_state("none")
            self.assertEqual(self.run_script("return location.hash"), "")
        self.assertTrue(self.program.hellos.empty())

    def test_the_key_is_kept_before_it_is_used(self):
        """The program dies with the first sealed message in its hands."""
        take = double.Peer.take
        self.addCleanup(setattr, double.Peer, "take", take)

        async def die(peer, message, content):
            if message["is"] != "pair":
                await take(peer, message, content)
                return
            self.dead.append((peer.pairing, self.registers))
            if self.registers:
                code, number, key = peer.pairing
                self.program.codes.remove(code)
                self.program.browsers[number], self.program.names[number] = key, "phone"
            double.Peer.take = take
            await peer.socket.close()
        for self.registers in (True, False):
            with self.subTest(registered=self.registers):
                self.page.get("about:blank")
                self.program.stop()
                self.program.port = 0
                self.program.start()
                self.forget_hellos()
                self.dead = []
                double.Peer.take = die
                self.page.get(self.program.link())
                self.assertEqual(self.next_hello()[0], b"P")
                # What it kept is tried first; where the program had no time to keep it, the code again.
                kind, number = self.next_hello()
                [((code, made, _), _)] = self.dead
                self.assertEqual((kind, number), (b"R", made))
                if not self.registers:
                    self.assertEqual(self.next_hello(), (b"P", double.code_id(code)))
                self.wait_for_state("desk-connected")
                kept = json.loads(self.stored()["clipmule"])
                self.assertEqual(self.program.browsers[bytes.fromhex(kept["id"])].hex(), kept["key"])
                self.assertEqual(set(self.stored()) - {"clipmule-seen"}, {"clipmule"})

    def test_another_code_where_the_browser_is_known_pairs_no_second_time(self):
        self.pair()
        self.page.get("about:blank")
        self.page.get(self.program.link())
        self.program.hear("resume")
        self.wait_for_state("desk-connected")
        self.assertEqual(len(self.program.browsers), 1)

    def test_a_fresh_code_after_it_was_removed(self):
        self.pair()
        self.program.browsers.clear()
        self.page.get("about:blank")
        self.page.get(self.program.link())
        self.program.hear("pair")
        self.wait_for_state("desk-connected")
        [number] = self.program.browsers
        self.assertEqual(json.loads(self.stored()["clipmule"])["id"], number.hex())

    def test_handshake_vectors(self):
        self.page.get(self.program.origin)
        for name, vector in json.loads(VECTORS.read_text(encoding="utf-8")).items():
            with self.subTest(name):
                wanted = {key: vector[key] for key in ("hello", "id", "browserId", "browserKey")
                          if key in vector}
                wanted["sealed"] = [message["sealed"] for message in vector["fromPage"]]
                wanted["opened"] = [message["plain"] for message in vector["toPage"]]
                self.assertEqual(self.run_module(RUN_VECTOR, vector), wanted)


# As Handshake does it, with the secrets that the file gives.
RUN_VECTOR = """
const {Handshake, credentialOfCode} = await import('/handshake.js');
const [given] = args;
const bytes = text => Uint8Array.from(text.match(/../g), pair => parseInt(pair, 16));
const hex = array => Array.from(array, byte => byte.toString(16).padStart(2, '0')).join('');
const credential = given.kind === 'P' ? credentialOfCode(bytes(given.key)) :
    {kind: 'R', id: bytes(given.id), key: bytes(given.key)};
const pair = globalThis.nacl.box.keyPair.fromSecretKey(bytes(given.clientSecret));
const handshake = new Handshake(credential, pair, bytes(given.helloNonce));
const {session, browser} = handshake.finish(bytes(given.answer));
const made = {
    hello: hex(handshake.hello), id: hex(credential.id),
    sealed: given.fromPage.map(({plain}) => hex(session.seal(bytes(plain)))),
    opened: given.toPage.map(({sealed}) => hex(session.open(bytes(sealed))))
};
return browser ? {...made, browserId: hex(browser.id), browserKey: hex(browser.key)} : made;
"""


class HostileTest(PageTest):
    """Each time: nothing of it is shown, nothing is lost, and the page connects anew."""

    def setUp(self):
        super().setUp()
        self.program.clips = [clip("a", "mine")]
        self.pair()
        self.wait_for_texts("mine")
        self.kept = self.stored()
        self.forget_hellos()
        self.peer = self.program.peers[0]

    def raw(self, *messages):
        async def send():
            for message in messages:
                await self.peer.socket.send(message)
        self.program.do(send())

    def sealed(self, plain=None, **message):
        return self.peer.seal(plain or b"\0" + json.dumps(message).encode())

    def assert_ended(self):
        kind, number = self.next_hello()
        self.assertEqual((kind, number.hex()), (b"R", json.loads(self.kept["clipmule"])["id"]))
        self.wait_for_state("desk-connected")
        self.wait_for_texts("mine")
        self.assertEqual(self.stored()["clipmule"], self.kept["clipmule"])
        self.peer = self.program.peers[-1]

    def bad_clip(self):
        return self.sealed(**{"is": "clip", "clip": clip("x", "theirs")})

    def test_altered(self):
        for place in (0, 15, 16, -1):
            with self.subTest(place):
                message = bytearray(self.bad_clip())
                message[place] ^= 1
                self.raw(bytes(message))
                self.assert_ended()

    def test_replayed(self):
        message = self.sealed(**{"is": "pong"})
        self.raw(message, message)
        self.assert_ended()

    def test_reordered(self):
        first, second = self.sealed(**{"is": "pong"}), self.bad_clip()
        self.raw(second, first)
        self.assert_ended()

    def test_left_out(self):
        self.sealed(**{"is": "pong"})
        self.raw(self.bad_clip())
        self.assert_ended()

    def test_sent_back_to_it(self):
        self.peer.send_key = self.peer.receive_key
        self.raw(self.bad_clip())
        self.assert_ended()

    def test_not_sealed(self):
        for message in (b"\0" + json.dumps({"is": "revoked"}).encode(), '{"is":"revoked"}', b"\3", b""):
            with self.subTest(message):
                self.raw(message)
                self.assert_ended()

    def test_wrong_messages(self):
        good = clip("x", "theirs")
        for message in ({"is": "clip"}, {"is": "clip", "clip": {**good, "id": 1}},
                        {"is": "clip", "clip": {**good, "text": None}}, {"is": "clips", "clips": {}},
                        {"is": "clip", "clip": {**good, "at": "now"}}, {"is": "gone", "clips": [1]},
                        {"is": "state", "desk": 1}, {"is": "sent", "for": "3"}, {"is": "welcome"},
                        {"is": "data", "transfer": 3, "for": 1, "size": 1},
                        {"is": "data", "transfer": 2, "for": 1, "size": (64 << 20) + 1},
                        {"is": "clip", "clip": {**good, "picture": {"type": "image/png"}}}, {"no": "name"}):
            with self.subTest(message):
                self.raw(self.sealed(**message))
                self.assert_ended()

    def test_wrong_plain_texts(self):
        head = b"\1" + struct.pack(">I", 2)
        for plain in (b"\2", b"\0", b"\0[]", b"\0null", b"\0{", b"\0\xff", head):
            with self.subTest(plain):
                self.raw(self.sealed(plain))
                self.assert_ended()

    def test_more_than_was_announced(self):
        head = b"\1" + struct.pack(">I", 2)
        self.raw(self.sealed(**{"is": "data", "transfer": 2, "for": 1, "size": 3}),
                 self.sealed(head + b"1234"))
        self.assert_ended()

    def test_more_transfers_than_four(self):
        self.raw(*(self.sealed(**{"is": "data", "transfer": 2 * number, "for": 1, "size": 3})
                   for number in range(1, 6)))
        self.assert_ended()

    def test_the_same_transfer_twice(self):
        self.raw(*(self.sealed(**{"is": "data", "transfer": 2, "for": 1, "size": 3}) for _ in range(2)))
        self.assert_ended()

    def test_the_longest_piece(self):
        head = b"\1" + struct.pack(">I", 2)
        announce = {"is": "data", "transfer": 2, "for": 1, "size": 65001}
        # Passed over, since nothing asked for it; one byte more ends the connection.
        self.raw(self.sealed(**announce), self.sealed(head + bytes(65000)), self.sealed(head + b"1"))
        self.program.add(clip("b", "after it"))
        self.wait_for_texts("after it", "mine")
        self.program.clips = [clip("a", "mine")]
        self.raw(self.sealed(**announce), self.sealed(head + bytes(65001)))
        self.assert_ended()

    def test_a_newer_program(self):
        more = {"is": "clip", "clip": clip("b", "yours", newer=[1])}
        self.raw(self.sealed(**{"is": "news", "clip": 1}), self.sealed(**more))
        self.wait_for_texts("yours", "mine")
        self.assertTrue(self.program.hellos.empty())


class AnswersTest(PageTest):
    """Answers to the hello that are not the program's."""

    def test_none_is_taken(self):
        def altered(own, theirs, nonce, key):
            answer = bytearray(self.program.honest_answer(own, theirs, nonce, key))
            answer[-1] ^= 1
            return bytes(answer)

        def of_another_key(own, theirs, nonce, _key):
            return self.program.honest_answer(own, theirs, nonce, secrets.token_bytes(32))

        def to_another_hello(own, _theirs, nonce, key):
            return self.program.honest_answer(own, secrets.token_bytes(32), nonce, key)

        def without_secret(_own, theirs, nonce, key):
            return self.program.honest_answer(bytes(32), theirs, nonce, key)

        def too_short(own, theirs, nonce, key):
            return self.program.honest_answer(own, theirs, nonce, key)[:-1]

        def of_another_number(own, theirs, nonce, key):
            return b"\4" + self.program.honest_answer(own, theirs, nonce, key)[1:]

        def of_nobody(*_):
            return b"\3\3"

        self.pair()
        kept = self.stored()
        for answer in (altered, of_another_key, to_another_hello, without_secret, too_short,
                       of_another_number, of_nobody):
            with self.subTest(answer.__name__):
                self.program.alter_answer = answer
                self.page.get("about:blank")
                self.page.get(self.program.origin)
                self.wait_for_state("lost")
                self.assertEqual(self.stored(), kept)
                self.assertTrue(self.program.heard.empty())
        self.program.alter_answer = self.program.honest_answer
        self.wait_for_state("desk-connected")

    def test_a_code_is_not_taken_either(self):
        self.program.alter_answer = lambda own, theirs, nonce, key: self.program.honest_answer(
            own, theirs, nonce, bytes(32))
        self.page.get(self.program.link())
        self.wait_for_state("lost")
        self.assertEqual(self.stored(), {})
        self.program.alter_answer = self.program.honest_answer
        self.program.hear("pair")
        self.wait_for_state("desk-connected")

    def test_unknown_wipes_nothing(self):
        self.pair()
        kept = self.stored()
        known = dict(self.program.browsers)
        self.program.browsers.clear()
        self.page.refresh()
        self.wait_for_state("unknown")
        self.assertTrue(any("does not know this browser" in text for text in self.shown("#banner p")))
        self.assertEqual(self.stored(), kept)
        self.program.browsers.update(known)
        self.tap_button("Try again")
        self.wait_for_state("desk-connected")
        self.assertFalse(self.find("#banner").is_displayed())

    def test_a_message_before_ours_ends_it(self):
        """What replays an answer cannot go on with a message either, since it has no key."""
        honest = self.program.honest_answer
        self.pair()
        recorded = []
        self.program.alter_answer = lambda *secret: recorded.append(honest(*secret)) or recorded[0]
        self.page.refresh()
        self.wait_for_state("desk-connected")
        self.page.refresh()
        self.wait_for_state("lost")

    def test_silence(self):
        self.pair()
        self.program.silent = True
        self.page.refresh()
        self.wait_for_state("connecting")
        self.wait_for_state("lost")
        self.program.silent = False
        self.wait_for_state("desk-connected")


class StayingTest(PageTest):
    def test_the_program_is_killed_and_starts_again(self):
        self.program.clips = [clip("a", "one"), clip("b", "two")]
        self.pair()
        self.wait_for_texts("one", "two")
        self.program.stop()
        self.wait_for_state("lost")
        self.assertEqual(self.shown("#status-text"), ["Not connected. Trying again…"])
        self.program.clips = [clip("c", "three"), clip("b", "two")]
        self.program.start()
        self.wait_for_state("desk-connected")
        self.wait_for_texts("three", "two")

    def test_the_state_of_the_desk(self):
        self.pair()
        for desk, words in (("away", "Sync is not running on the computer"),
                            ("off", "Sync is switched off on the computer"), ("connected", "Connected")):
            self.program.say(**{"is": "state", "desk": desk})
            self.wait_for_state(f"desk-{desk}")
            self.assertEqual(self.shown("#status-text"), [words])

    def test_a_connection_that_died_in_silence(self):
        self.pair()
        self.forget_hellos()
        self.program.deaf = True
        # As after a sleep: it has to show that it lives.
        self.run_script("dispatchEvent(new PageTransitionEvent('pageshow'))")
        self.program.hear("ping")
        self.next_hello()
        self.wait_for_state("desk-connected")

    def test_after_a_sleep_it_is_not_called_connected_until_it_is(self):
        self.pair()
        self.program.deaf = True
        self.run_script(
            "Object.defineProperty(document, 'hidden', {value: true, configurable: true});"
            "document.dispatchEvent(new Event('visibilitychange')); const now = performance.now();"
            "performance.now = () => now + 3000; delete document.hidden;"
            "document.dispatchEvent(new Event('visibilitychange'))")
        self.assertEqual(self.state(), "connecting")
        self.program.hear("ping")
        self.program.say(**{"is": "pong"})
        self.wait_for_state("desk-connected")

    def test_the_network_goes_and_comes(self):
        self.pair()
        self.forget_hellos()
        self.run_script("dispatchEvent(new Event('offline'))")
        self.assertEqual(self.state(), "lost")
        self.run_script("dispatchEvent(new Event('online'))")
        self.next_hello()
        self.wait_for_state("desk-connected")

    def test_revoked_while_it_is_open(self):
        self.program.clips = [clip("a", "secret")]
        self.program.answer = {"is": "notSent", "why": "off"}
        self.pair()
        self.wait_for_texts("secret")
        self.write("waits")
        self.tap("#send")
        self.until("kept", lambda: self.waits() == 1)
        self.program.say(**{"is": "revoked"})
        self.until("words", lambda: self.shown("#welcome h2") == ["Removed on the computer"])
        self.until("no key", lambda: self.stored() == {})
        self.until("nothing kept", lambda: self.waits() == 0)
        self.assertEqual(self.all("#clips .card"), [])
        self.forget_hellos()
        self.page.refresh()
        self.wait_for_state("none")
        self.assertTrue(self.program.hellos.empty())

    def forget(self):
        self.tap("#menu")
        self.tap_button("Forget this computer", "#sheet")
        self.tap_button("Forget it", "#sheet")

    def test_forgetting(self):
        self.program.clips = [clip("a", "secret")]
        self.program.answer = {"is": "notSent", "why": "off"}
        self.pair()
        self.wait_for_texts("secret")
        self.write("waits")
        self.tap("#send")
        self.until("kept", lambda: self.waits() == 1)
        self.forget()
        self.program.hear("forget")
        self.wait_for_state("none")
        self.until("no key", lambda: self.stored() == {})
        self.until("nothing kept", lambda: self.waits() == 0)
        self.assertEqual(self.all("#clips .card"), [])

    def test_forgetting_in_one_tab_ends_the_other(self):
        self.pair()
        first = self.page.current_window_handle
        self.page.switch_to.new_window("tab")
        second = self.page.current_window_handle
        self.page.get(self.program.origin)
        self.wait_for_state("desk-connected")
        # In the first: WebKit's new tab lies behind it, and its driver waits for ever for a tap there.
        self.page.switch_to.window(first)
        self.forget()
        self.wait_for_state("none")
        self.page.switch_to.window(second)
        self.wait_for_state("none")
        self.assertEqual(self.all("#clips .card"), [])

    def test_pairing_in_one_tab_connects_the_other(self):
        self.page.get(self.program.origin)
        self.wait_for_state("none")
        first = self.page.current_window_handle
        self.page.switch_to.new_window("tab")
        self.page.get(self.program.link())
        self.wait_for_state("desk-connected")
        self.page.switch_to.window(first)
        self.wait_for_state("desk-connected")


if __name__ == "__main__":
    main()
