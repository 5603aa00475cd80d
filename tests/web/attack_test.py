#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Devices of the network that mean harm: while they ask for too much, too slowly, or for what is none of theirs, a
page is served, and the agent serves a phone of the network.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import pathlib
import socket
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "desktop"))
from agent_test import BIN, AgentTest  # noqa: E402
import browsers  # noqa: E402
from page import Page  # noqa: E402
from programs import PATIENCE_SECONDS, copy, until  # noqa: E402

ADDRESS = "10.77.0.1"
STRANGERS = [f"10.77.0.{number}" for number in range(100, 125)]
CROWD = 1000
# Of clipmule-web; and how much more memory it may take than without them.
MOST_CONNECTIONS = 32
MOST_KILOBYTES = 8 * 1024
HUGE = 50_000_000


class StrangersTest(AgentTest):
    @classmethod
    def setUpClass(cls):
        browsers.make_network(ADDRESS)
        for address in STRANGERS:
            subprocess.run(["ip", "addr", "add", f"{address}/32", "dev", "page0"], check=True)

    def setUp(self):
        super().setUp()
        self.served = 0
        self.start_agent()
        self.phone = self.connected_phone("Anna")
        self.web = self.start("clipmule-web", BIN / "clipmule-web", "--port", "0", "--address", ADDRESS, "--data",
                              self.folder / "page")
        self.link = self.web.wait_for("code", lambda line: line if line.startswith("http") else None)
        self.host = self.link.split("/")[2]
        self.page = Page(self.link)
        self.addCleanup(self.page.close)
        while self.page.hear("state")["desk"] != "connected":
            pass
        self.phone.event("list of both", lambda event: len(event.get("devices", {})) == 2)
        self.serve()
        self.memory = self.resident()

    def resident(self):
        status = pathlib.Path(f"/proc/{self.web.process.pid}/status").read_text(encoding="ascii")
        return int(status.split("VmRSS:")[1].split()[0])

    def serve(self):
        """Both ways, for both."""
        self.served += 1
        copy("UTF8_STRING", f"copied {self.served}".encode())
        self.assert_receives(self.phone, f"copied {self.served}")
        while self.page.hear("clip")["clip"]["text"] != f"copied {self.served}":
            pass
        self.phone.tell(f"text from the phone {self.served}")
        self.assert_on_clipboard(f"from the phone {self.served}")
        self.page.send("text", f"from the page {self.served}".encode())
        self.page.hear("sent")
        self.assert_on_clipboard(f"from the page {self.served}")

    def connect(self, number=0):
        """From one of their addresses; it may be closed at once."""
        stranger = socket.socket()
        self.addCleanup(stranger.close)
        stranger.settimeout(PATIENCE_SECONDS)
        stranger.bind((STRANGERS[number % len(STRANGERS)], 0))
        address, port = self.host.split(":")
        stranger.connect((address, int(port)))
        return stranger

    def request(self, number=0, host=None, origin=None):
        """An upgrade to the connection that a page keeps; its first line."""
        stranger = self.connect(number)
        stranger.sendall((f"GET /socket HTTP/1.1\r\nHost: {host or self.host}\r\nUpgrade: websocket\r\n"
                          "Connection: Upgrade\r\nSec-WebSocket-Key: MDEyMzQ1Njc4OWFiY2RlZg==\r\n"
                          f"Sec-WebSocket-Version: 13\r\nOrigin: {origin or 'http://' + self.host}\r\n"
                          "Sec-WebSocket-Protocol: clipmule-page-1\r\n\r\n").encode())
        return stranger, self.read(stranger).split(b"\r\n")[0]

    @staticmethod
    def read(stranger):
        try:
            return stranger.recv(65536)
        except ConnectionResetError:
            return b""

    def wait_for_end(self, stranger):
        while self.read(stranger):
            pass

    @staticmethod
    def is_open(stranger):
        try:
            return stranger.recv(1, socket.MSG_PEEK | socket.MSG_DONTWAIT) != b""
        except BlockingIOError:
            return True
        except ConnectionResetError:
            return False

    def assert_nothing_stays(self):
        self.serve()
        self.assertLess(self.resident() - self.memory, MOST_KILOBYTES)

    def test_a_crowd(self):
        crowd = [self.connect(number) for number in range(CROWD)]
        for number, stranger in enumerate(crowd):
            if number % 2:
                try:
                    stranger.sendall(b"GET / HTTP/1.1\r\nHos")
                except (BrokenPipeError, ConnectionResetError):
                    pass
        until("refusals", lambda: sum(map(self.is_open, crowd)) < MOST_CONNECTIONS)
        self.serve()
        for stranger in crowd:
            stranger.close()
        until("room", lambda: self.request()[1].endswith(b"101 Switching Protocols"))
        self.assert_nothing_stays()

    def test_slow_ones_are_let_go(self):
        """One byte after the other keeps nobody's place."""
        slow = [self.connect(number) for number in range(8)]
        ended = []

        def drip():
            for one in [one for one in slow if one not in ended]:
                try:
                    one.sendall(b"X")
                    if not self.is_open(one):
                        ended.append(one)
                except (BrokenPipeError, ConnectionResetError):
                    ended.append(one)
            return len(ended) == len(slow)

        self.serve()
        until("their end", drip)
        self.assert_nothing_stays()

    def test_huge_ones(self):
        bodies = self.connect()
        bodies.sendall(f"POST / HTTP/1.1\r\nHost: {self.host}\r\nContent-Length: {HUGE}\r\n\r\n".encode())
        self.wait_for_end(bodies)
        for head in (b"\x82\xff" + HUGE.to_bytes(8, "big"), b"\x82\xff" + b"\x7f" + b"\xff" * 7,
                     b"\x02\xfe\xff\xff", b"\x89\xfe\x10\x00"):
            stranger, answer = self.request()
            self.assertIn(b"101", answer)
            try:
                for _ in range(100):
                    stranger.sendall(head + b"\0\0\0\0" + b"x" * 65536)
                    head = b""
            except (BrokenPipeError, ConnectionResetError):
                pass
            self.wait_for_end(stranger)
        self.assert_nothing_stays()

    def test_other_pages_and_names(self):
        for host, origin in ((None, "http://evil.example"), (None, "null"), (None, "https://" + self.host),
                             ("evil.example", "http://evil.example"), ("evil.example", None),
                             (ADDRESS, None), (self.host + ".evil.example", None)):
            stranger, answer = self.request(host=host, origin=origin)
            self.assertNotIn(b"101", answer, (host, origin))
            self.wait_for_end(stranger)
        stranger = self.connect()
        stranger.sendall(b"GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n")
        self.assertIn(b" 421 ", self.read(stranger))
        self.assert_nothing_stays()


if __name__ == "__main__":
    unittest.main(verbosity=2)
