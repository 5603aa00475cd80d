#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The real agent in a real desktop: X server, window manager, session bus, avahi-daemon, phones.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import contextlib
import json
import os
import pathlib
import plistlib
import random
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts"))
from programs import PATIENCE_SECONDS, Program, StepFailed, clipboard, copy, item_of, until  # noqa: E402

BIN = pathlib.Path(os.environ["CLIPMULE_BIN"])
OBJECT_FRAME = bytes.fromhex("004b525a")
PING_FRAME = bytes.fromhex("014b525a")


def frame(payload):
    return OBJECT_FRAME + struct.pack("<I", len(payload)) + payload


def message(kind, payload):
    return frame(plistlib.dumps({str(kind): payload}))


def receive_exactly(connection, count):
    data = b""
    while len(data) < count:
        part = connection.recv(count - len(data))
        if not part:
            raise StepFailed("the agent closed the connection")
        data += part
    return data


def receive_message(connection):
    """The next object frame's property list; pings are passed over."""
    while True:
        kind = receive_exactly(connection, 4)
        if kind != PING_FRAME:
            break
    if kind != OBJECT_FRAME:
        raise StepFailed(f"no frame begins with {kind.hex()}")
    length = struct.unpack("<I", receive_exactly(connection, 4))[0]
    return plistlib.loads(receive_exactly(connection, length))


class RawPhone:
    """A phone of which every byte is in the test's hand."""

    def __init__(self, name, log):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(PATIENCE_SECONDS)
        self.connections = []
        self.publisher = Program("avahi-publish", ["avahi-publish", "-s", name, "_clipmule-s2._tcp",
                                                   str(self.listener.getsockname()[1])], log)

    def accept(self):
        connection, _ = self.listener.accept()
        connection.settimeout(PATIENCE_SECONDS)
        self.connections.append(connection)
        return connection

    def stop(self):
        for connection in self.connections:
            connection.close()
        self.listener.close()
        self.publisher.stop()


class AgentTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.config = {"XDG_CONFIG_HOME": str(self.folder / "config")}
        os.environ.update(self.config)
        self.log = self.enterContext(open(self.folder / "log", "w+", encoding="utf-8"))
        self.agent = None
        self.addCleanup(self.show_log_of_failure)

    def show_log_of_failure(self):
        result = self._outcome.result
        if any(test is self for test, _ in result.failures + result.errors):
            self.log.flush()
            sys.stderr.write(pathlib.Path(self.log.name).read_text(encoding="utf-8")[-8000:])

    def enterContext(self, manager):
        value = manager.__enter__()
        self.addCleanup(manager.__exit__, None, None, None)
        return value

    def start(self, name, *command):
        program = Program(name, [str(part) for part in command], self.log)
        self.addCleanup(program.stop)
        return program

    def start_agent(self, *options):
        self.agent = self.start("agent", BIN / "clipmule-sync", *options)
        until("agent on the bus", lambda: self.owner_of("com.zendrik.ClipmuleSync"))
        return self.agent

    @staticmethod
    def owner_of(name):
        done = subprocess.run(["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus",
                               "--object-path", "/org/freedesktop/DBus", "--method",
                               "org.freedesktop.DBus.NameHasOwner", name],
                              capture_output=True, text=True, check=False)
        return "true" in done.stdout

    def start_phone(self, name):
        phone = self.start(name, BIN / "clipmule-phone", "--name", name, "--save",
                           self.folder / "images")
        phone.event("listening port", lambda event: event.get("event") == "listening")
        return phone

    def start_raw_phone(self, name):
        phone = RawPhone(name, self.log)
        self.addCleanup(phone.stop)
        return phone

    def preferences(self, *arguments, status=0):
        done = subprocess.run([BIN / "clipmule-preferences", *arguments], capture_output=True,
                              text=True, timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stdout.strip()

    @staticmethod
    def wait_until_opened(phone):
        # The list of devices comes after the connection has been reported inside the agent, so what
        # is copied from here on is sent.
        phone.event("connection", lambda event: event.get("event") == "opened")
        phone.event("list of devices", lambda event: event.get("event") == "devices")

    def connected_phone(self, name):
        phone = self.start_phone(name)
        self.preferences("pair", name, "--wait", "0")
        self.wait_until_opened(phone)
        return phone

    def assert_receives(self, phone, text):
        """This is the next clip; one that should not have come fails here."""
        self.assertEqual(phone.event(f"text {text}", item_of).get("string"), text)

    @staticmethod
    def assert_receives_nothing(phone):
        """The agent looks at the clipboard within half a second."""
        phone.no_event("a clip that should not have come", item_of, seconds=1.5)

    def start_window(self, name):
        """A window of a program of this name, in front, with the keyboard."""
        program = self.folder / name
        program.symlink_to(BIN.parent / "tests" / "clipmule_qt_client")
        window = self.start(name, program)
        window.wait_for("focus", lambda line: line == "ready")
        return window

    def assert_served(self, phone, text):
        copy("UTF8_STRING", text.encode())
        self.assert_receives(phone, text)

    def assert_on_clipboard(self, text):
        until(f"“{text}” on the clipboard", lambda: clipboard("UTF8_STRING") == text.encode())

    def times_logged(self, text):
        self.log.flush()
        return pathlib.Path(self.log.name).read_text(encoding="utf-8").count(text)

    def logged(self, text):
        return self.times_logged(text) > 0

    def announced(self):
        done = subprocess.run(["avahi-browse", "-ptk", "_clipmule-c2._tcp"], capture_output=True,
                              text=True, timeout=PATIENCE_SECONDS, check=True)
        return [line for line in done.stdout.splitlines() if line.startswith("+")]


class MainJobTest(AgentTest):
    def test_text_goes_both_ways_and_does_not_come_back(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.assert_served(phone, "from the desk")
        phone.tell("text from the phone")
        self.assert_on_clipboard("from the phone")
        # The counters are saved five seconds after a clip, and by then the agent has looked at the
        # clipboard ten times. The next clip that arrives is the next one copied: the phone's own
        # was not sent back.
        counters = self.folder / "config/clipmule-sync/com.zendrik.ClipmuleSync.stats.plist"
        until("saved counters", lambda: counters.exists()
              and "dataReceived" in plistlib.loads(counters.read_bytes()))
        self.assert_served(phone, "and on")

    def test_copying_the_same_text_twice_sends_it_once(self):
        self.start_agent("--verbose")
        phone = self.connected_phone("Anna")
        self.assert_served(phone, "once")
        copy("UTF8_STRING", b"once")
        until("look at the second copy", lambda: self.logged("the last clip again"))
        self.assert_served(phone, "twice")

    def test_a_transient_copy_is_not_sent(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        window = self.start_window("vault")
        text = f"text/plain {b'a password'.hex()}"
        for count, marker in enumerate(("org.nspasteboard.TransientType 31",
                                        f"x-kde-passwordManagerHint {b'secret'.hex()}0a"), start=1):
            window.tell(f"copy-data {text} {marker}")
            until("look at the copy", lambda count=count: self.times_logged("marked as secret") == count)
            # The same with nothing that speaks against it, so that it is the marker that counted.
            window.tell(f"copy-data {text} {marker.split()[0]}x 31")
            self.assert_receives(phone, "a password")
            self.assert_served(phone, "harmless")

    def test_relays_to_the_other_phones_only(self):
        self.start_agent()
        anna = self.connected_phone("Anna")
        ben = self.connected_phone("Ben")
        copy("UTF8_STRING", b"unmoved")
        for phone in (anna, ben):
            self.assert_receives(phone, "unmoved")
        anna.tell("relay text for Ben")
        self.assert_receives(ben, "for Ben")
        self.assertEqual(clipboard("UTF8_STRING"), b"unmoved")
        copy("UTF8_STRING", b"next")
        clip = anna.event("clip", item_of)
        self.assertEqual(clip["string"], "next")

    def test_every_phone_hears_of_every_phone(self):
        self.start_agent()
        anna = self.connected_phone("Anna")
        ben = self.connected_phone("Ben")
        anna.event("both devices",
                   lambda event: sorted(event.get("devices", {})) == ["Anna", "Ben"])
        ben.stop()
        anna.event("Ben's departure", lambda event: list(event.get("devices", {})) == ["Anna"])

    def test_a_large_picture_arrives_unharmed(self):
        picture = self.folder / "noise.png"
        subprocess.run(["convert", "-size", "640x480", "xc:gray", "+noise", "Random", str(picture)],
                       check=True)
        self.start_agent()
        phone = self.connected_phone("Anna")
        phone.tell(f"image {picture}")
        until("picture on the clipboard", lambda: clipboard("image/png") == picture.read_bytes())
        self.assertIn(b"\r\n", clipboard("text/uri-list"))
        self.assertTrue(clipboard("x-special/gnome-copied-files").startswith(b"copy\nfile:///"))
        photo = self.folder / "photo.jpg"
        subprocess.run(["convert", "-size", "2000x1000", "plasma:", str(photo)], check=True)
        copy("image/jpeg", photo.read_bytes())
        image = phone.event("image clip", item_of)["imageData"]
        self.assertEqual((image["format"], image["width"], image["height"]), ("jpeg", 1600, 800))


    def test_a_picture_is_a_file_for_file_managers_only(self):
        photo = self.folder / "photo.jpg"
        subprocess.run(["convert", "-size", "60x40", "plasma:", str(photo)], check=True)
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.start_window("some-editor")
        phone.tell(f"image {photo}")
        until("picture on the clipboard", lambda: clipboard("image/jpeg") == photo.read_bytes())
        targets = clipboard("TARGETS").decode().split()
        self.assertIn("image/png", targets)
        self.assertNotIn("text/uri-list", targets)
        self.assertTrue(clipboard("image/png").startswith(b"\x89PNG"))
        for file_manager in ("thunar", "org.kde.gwenview"):
            self.start_window(file_manager)
            until("list with files",
                  lambda: "text/uri-list" in clipboard("TARGETS").decode().split())

    def test_a_picture_copied_in_a_file_manager_is_sent_as_one(self):
        picture = self.folder / "my photo.png"
        subprocess.run(["convert", "-size", "30x20", "xc:teal", str(picture)], check=True)
        letter = self.folder / "letter.txt"
        letter.write_text("no picture", encoding="utf-8")
        self.start_agent()
        phone = self.connected_phone("Anna")
        window = self.start_window("thunar")
        window.tell(f"copy-uris {picture.as_uri()}")
        event = phone.event("clip", lambda event: event if item_of(event) else None)
        self.assertEqual(event["clip"]["title"], "my photo")
        self.assertEqual(item_of(event)["string"], "my photo.png")
        image = item_of(event)["imageData"]
        self.assertEqual((image["format"], image["width"], image["height"]), ("png", 30, 20))
        # Not all of them are pictures, so they are what any program copies.
        window.tell(f"copy-uris {picture.as_uri()} {letter.as_uri()}")
        item = phone.event("clip", item_of)
        self.assertNotIn("imageData", item)
        self.assertIn("letter.txt", item["string"])

    def test_the_paste_fits_the_window(self):
        table = self.folder / "config" / "clipmule-sync" / "applications.plist"
        table.parent.mkdir(parents=True)
        table.write_text("{ pasteKeys = { x = (oddity); }; }", encoding="utf-8")
        self.start_agent()
        phone = self.connected_phone("Anna")
        odd = self.start_window("oddity")
        phone.tell("text from the phone")
        self.assertEqual(odd.wait_for("text", lambda line: line), "text " + b"x".hex())
        usual = self.start_window("usual")
        phone.tell("text once more")
        self.assertEqual(usual.wait_for("text", lambda line: line), "text " + b"once more".hex())

    def test_what_is_selected_is_not_sent(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        subprocess.run(["xclip", "-selection", "primary", "-i"], input=b"selected", check=True,
                       timeout=PATIENCE_SECONDS, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        self.assert_receives_nothing(phone)
        self.assert_served(phone, "copied")

    def test_what_a_program_left_behind_can_be_copied_again(self):
        owner = self.start("owner", "xclip", "-quiet", "-selection", "clipboard", "-i")
        owner.process.stdin.write("foo")
        owner.process.stdin.close()
        self.assert_on_clipboard("foo")
        self.start_agent()
        phone = self.connected_phone("Anna")
        owner.process.terminate()
        owner.process.wait()
        # Longer than a clipboard manager takes.
        self.assert_receives_nothing(phone)
        self.assert_served(phone, "foo")

    def test_a_part_of_what_came_is_sent_when_it_is_copied(self):
        self.start_agent()
        anna = self.connected_phone("Anna")
        ben = self.connected_phone("Ben")
        anna.tell("url http://example.org/a")
        self.assert_on_clipboard("http://example.org/a")
        copy("UTF8_STRING", b"http://example.org/a")
        self.assert_receives(ben, "http://example.org/a")

    def test_a_picture_that_a_clipboard_manager_owns_anew_does_not_come_back(self):
        photo = self.folder / "photo.jpg"
        subprocess.run(["convert", "-size", "64x48", "plasma:", str(photo)], check=True)
        self.start_agent()
        phone = self.connected_phone("Anna")
        phone.tell(f"image {photo}")
        until("picture on the clipboard", lambda: clipboard("image/jpeg") == photo.read_bytes())
        decoded = subprocess.run(["convert", str(photo), "png:-"], capture_output=True, check=True)
        for _ in range(2):
            copy("image/png", decoded.stdout)
            self.assert_receives_nothing(phone)
        self.assert_served(phone, "and on")


class SettingsTest(AgentTest):
    def test_disabling_and_enabling_reach_the_running_agent(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        self.assertEqual(len(self.announced()), 1)
        self.preferences("disable")
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        until("end of the announcement", lambda: not self.announced())
        self.preferences("enable")
        self.wait_until_opened(phone)
        self.assert_served(phone, "again")

    def test_unregistering_ends_the_connection(self):
        self.start_agent()
        anna = self.connected_phone("Anna")
        ben = self.connected_phone("Ben")
        self.preferences("unregister", "Anna")
        anna.event("end of the connection", lambda event: event.get("event") == "closed")
        self.assert_served(ben, "for Ben alone")

    def test_the_settings_of_a_single_phone_are_migrated(self):
        self.preferences("set", "serverService", "Anna")
        self.preferences("set", "serverName", "Anna's")
        phone = self.start_phone("Anna")
        self.start_agent()
        self.wait_until_opened(phone)
        self.assertIn("Anna's", self.preferences("list"))


class LifeTest(AgentTest):
    def test_a_second_start_says_so_and_ends_well(self):
        self.start_agent()
        second = subprocess.run([BIN / "clipmule-sync"], capture_output=True, text=True,
                                timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(second.returncode, 0)
        self.assertIn("already running", second.stdout + second.stderr)

    def test_wrong_arguments_are_told_without_control_characters(self):
        for name in ("clipmule-sync", "clipmule-phone", "clipmule-preferences", "clipmule-inspect",
                     "clipmule-filter"):
            for argument in ("--none\x1b[31m\u202e", "none\x1b[31m\u202e"):
                done = subprocess.run([BIN / name, argument], capture_output=True, text=True,
                                      stdin=subprocess.DEVNULL, timeout=PATIENCE_SECONDS, check=False)
                self.assertNotEqual(done.returncode, 0)
                self.assertIn("none\\x1b[31m\\u202e", done.stderr)
                self.assertNotIn("\x1b", done.stdout + done.stderr)

    def test_an_agent_without_a_display_gives_way_to_one_with_it(self):
        without = ["env", "-u", "DISPLAY", BIN / "clipmule-sync"]
        first = self.start("first", *without)
        until("agent on the bus", lambda: self.owner_of("com.zendrik.ClipmuleSync"))
        second = subprocess.run(without, capture_output=True, text=True, timeout=PATIENCE_SECONDS,
                                check=False)
        self.assertEqual(second.returncode, 0)
        self.assertIn("already running", second.stdout)
        menu = subprocess.run([*without, "--menu"], capture_output=True, text=True,
                              timeout=PATIENCE_SECONDS, check=False)
        self.assertEqual(menu.returncode, 1)
        self.assertIn("without a display", menu.stderr)
        phone = self.connected_phone("Anna")
        # There is nothing that it could be put on, which is told once, and not as a success.
        phone.tell("text for nobody")
        refused = "the clip from Anna could not be put on the clipboard"
        until("refused clip", lambda: refused in self.preferences("status"))
        self.assertIn("received: 0 bytes", self.preferences("status"))
        self.assertEqual(self.times_logged(refused), 1)
        self.start_agent()
        self.assertEqual(first.process.wait(timeout=PATIENCE_SECONDS), 0)
        phone.event("end of the connection", lambda event: event.get("event") == "closed")
        self.wait_until_opened(phone)
        self.assert_served(phone, "from the desktop")

    def test_the_log_tells_what_happens_and_not_what_is_in_it(self):
        self.start_agent("--verbose")
        phone = self.connected_phone("Anna")
        self.assert_served(phone, "hunter2")
        phone.tell("text Sesame")
        self.assert_on_clipboard("Sesame")
        for line in ("sending text of", "received text of 6 bytes from Anna", "pasted"):
            until(f"“{line}” in the log", lambda line=line: self.logged(line))
        self.assertFalse(self.logged("hunter2"))
        self.assertFalse(self.logged("Sesame"))

    def test_ends_cleanly_and_leaves_no_announcement(self):
        self.start_agent()
        self.connected_phone("Anna")
        self.assertEqual(len(self.announced()), 1)
        for number in (signal.SIGTERM, signal.SIGINT):
            self.agent.process.send_signal(number)
            self.assertEqual(self.agent.process.wait(timeout=PATIENCE_SECONDS), 0)
            until("end of the announcement", lambda: not self.announced())
            self.start_agent()
            until("new announcement", lambda: len(self.announced()) == 1)

    def test_a_phone_that_was_killed_is_found_again(self):
        self.start_agent()
        phone = self.connected_phone("Anna")
        phone.process.kill()
        phone.process.wait()
        phone = self.start_phone("Anna")
        self.wait_until_opened(phone)
        self.assert_served(phone, "welcome back")

    def test_a_dropped_connection_comes_back_and_goes_on(self):
        phone = self.start_raw_phone("Anna")
        self.preferences("pair", "Anna", "--wait", "0")
        self.start_agent()
        first = phone.accept()
        first.sendall(message(4, {"name": "Anna"}))
        receive_message(first)
        first.close()
        second = phone.accept()
        second.sendall(message(4, {"name": "Anna, again"}))
        # What was queued when the first connection went may come first.
        while receive_message(second) != {"3": {"Anna": {"name": "Anna, again"}}}:
            pass
        copy("UTF8_STRING", b"still here")
        clip = receive_message(second)["1"]
        self.assertEqual(clip["items"][0]["string"], "still here")


class MisbehavingPhoneTest(AgentTest):
    """One phone does its worst; the other one is served all the same."""

    def setUp(self):
        super().setUp()
        self.bad = self.start_raw_phone("Mallory")
        self.preferences("pair", "Mallory", "--wait", "0")
        self.start_agent()
        self.good = self.connected_phone("Anna")
        self.connection = self.bad.accept()

    def assert_good_phone_is_served(self):
        self.assert_served(self.good, f"still served {random.random()}")
        self.assertIsNone(self.agent.process.poll())

    def assert_connection_survives(self):
        self.connection.sendall(message(4, {"name": "Mallory"}))
        devices = {}
        while "Mallory" not in devices:
            devices = receive_message(self.connection).get("3", {})

    def peak_memory(self):
        status = pathlib.Path(f"/proc/{self.agent.process.pid}/status").read_text(encoding="ascii")
        return int(status.split("VmHWM:")[1].split()[0]) * 1024

    def test_garbage(self):
        # Whole words that are no frame, so that the stream comes back into step.
        garbage = random.Random(1).randbytes(4 * 1024 * 1024).replace(b"\x00KRZ", b"....")
        self.connection.sendall(garbage)
        self.assert_connection_survives()
        self.assert_good_phone_is_served()

    def test_half_a_frame_and_then_silence(self):
        self.connection.sendall(message(4, {"name": "Mallory"})[:-7])
        self.assert_good_phone_is_served()

    def test_a_frame_that_announces_4_gib(self):
        before = self.peak_memory()
        self.connection.sendall(OBJECT_FRAME + b"\xff\xff\xff\xff" + b"x" * 100000)
        with contextlib.suppress(ConnectionError):
            while self.connection.recv(65536):
                pass
        self.assert_good_phone_is_served()
        self.assertLess(self.peak_memory() - before, 64 * 1024 * 1024)

    def test_nesting_without_end(self):
        self.connection.sendall(frame(b"<plist>" + b"<array>" * 200000))
        self.connection.sendall(frame(b"(" * 200000))
        self.assert_connection_survives()
        self.assert_good_phone_is_served()

    def test_entity_bomb(self):
        bomb = b'<!DOCTYPE p [<!ENTITY a "' + b"a" * 1000 + b'">'
        for name, of in zip(b"bcdefgh", b"abcdefg"):
            bomb += b'<!ENTITY %c "%s">' % (name, b"&%c;" % of * 10)
        self.connection.sendall(frame(bomb + b"]><plist><string>&h;</string></plist>"))
        self.assert_connection_survives()
        self.assert_good_phone_is_served()

    def test_shared_arrays_that_expand_without_end(self):
        vector = ROOT / "tests" / "data" / "vectors" / "binary" / "valid" / "dag_2pow29.bplist"
        self.connection.sendall(frame(vector.read_bytes()))
        self.assert_connection_survives()
        self.assert_good_phone_is_served()

    def test_messages_of_the_wrong_shape(self):
        for payload in (b"not a plist", b"<<<", b"", b"word"):
            self.connection.sendall(frame(payload))
        for shape in ({}, [], "text", {"1": "text"}, {"1": []}, {"1": {"items": "text"}},
                      {"1": {"items": [1, 2]}}, {"1": {"items": [{"string": 5}]}},
                      {"1": {"items": [{"imageData": "text"}]}}, {"1": {"title": 7, "items": []}},
                      {"2": 1}, {"3": {}}, {"4": "text"}, {"4": {"name": 5}}, {"99": 1}, {"x": 1},
                      {"1": {"creationDate": "today", "items": [{"oid": 1, "url": 2}]}}):
            self.connection.sendall(frame(plistlib.dumps(shape)))
        self.assert_connection_survives()
        self.assert_good_phone_is_served()

    def test_a_device_record_without_measure(self):
        self.connection.sendall(message(4, {"name": "x" * 1000000}))
        self.assert_connection_survives()
        self.assert_good_phone_is_served()
        self.assertTrue(self.logged("a device record of"))

    def test_never_reading(self):
        # More than the kernel takes for it: the agent must keep the rest without standing still.
        text = "x" * 4900000
        copy("UTF8_STRING", text.encode())
        self.good.event("large text",
                        lambda event: len((item_of(event) or {}).get("string", "")) == len(text))
        self.assert_good_phone_is_served()

    def test_pings_without_end(self):
        flood = threading.Thread(target=self.send_pings, daemon=True)
        flood.start()
        self.assert_good_phone_is_served()
        self.assert_good_phone_is_served()
        flood.join()

    def send_pings(self):
        for _ in range(200):
            self.connection.sendall(PING_FRAME * 65536)

    def test_connecting_only_to_hang_up(self):
        self.connection.close()
        self.bad.accept().close()
        self.assert_good_phone_is_served()


if __name__ == "__main__":
    unittest.main(verbosity=2)
