#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A phone is added by its browser, as people do it: by the window's buttons, and by what a camera reads
off the screen. With the real agent, the real clipmule-web, and a page of a few lines.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import asyncio
import base64
import hashlib
import http.client
import json
import os
import pathlib
import secrets
import signal
import socket
import subprocess
import sys
import unittest
import urllib.parse

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
try:
    from nacl import bindings
    import websockets
except ImportError as error:
    print(f"skipped: {error}; scripts/install-packages browser test installs it")
    sys.exit(77)
from agent_test import BIN  # noqa: E402
from preferences_test import Atspi, F2, PreferencesTest, press, xdotool  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

# The program's link leads to one of them; the phone has the other.
ADDRESSES = ("10.77.0.1", "10.77.0.2")


def make_network():
    if "pair0" in subprocess.run(["ip", "link"], capture_output=True, text=True, check=True).stdout:
        return
    for command in ("link add pair0 type veth peer name pair1", "link set pair0 up", "link set pair1 up"):
        subprocess.run(["ip", *command.split()], check=True)
    for address in ADDRESSES:
        change_address("add", address)


def change_address(how, address):
    subprocess.run(["ip", "address", how, f"{address}/24", "dev", f"pair{ADDRESSES.index(address)}"], check=True)


def digest(label, *parts):
    return hashlib.sha512(label.encode() + b"\0" + b"".join(parts)).digest()


async def pair(link, phone, name):
    """What the page does with the link: shakes hands, and gives its name. The program's first word."""
    address = urllib.parse.urlsplit(link)
    code = base64.urlsafe_b64decode(address.fragment + "=")
    own, secret = bindings.crypto_box_keypair()
    nonce = secrets.token_bytes(24)
    async with websockets.connect(f"ws://{address.netloc}/socket", subprotocols=["clipmule-page-1"],
                                  origin=f"http://{address.netloc}",
                                  local_addr=(phone, 0)) as connection:
        await connection.send(b"\1P" + digest("clipmule page code id", code)[:16] + nonce +
                          bindings.crypto_secretbox(own, nonce, code))
        answer = await connection.recv()
        theirs = bindings.crypto_secretbox_open(answer[25:], answer[1:25], code)[:32]
        session = digest("clipmule page session", code, bindings.crypto_scalarmult(secret, theirs), own, theirs)
        plain = json.dumps({"is": "pair", "name": name, "language": "en"}).encode()
        await connection.send(bindings.crypto_secretbox(b"\0" + plain, bytes(24), session[:32]))
        sealed = await connection.recv()
        return json.loads(bindings.crypto_secretbox_open(sealed, bytes(24), session[32:])[1:])


def programs_of(state):
    """The clipmule-web of this test, which the window has started."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if (process / "exe").resolve() == (BIN / "clipmule-web").resolve() and \
                    f"XDG_STATE_HOME={state}".encode() in (process / "environ").read_bytes().split(b"\0"):
                found.append(int(process.name))
        except OSError:
            continue
    return found


class PagePairingTest(PreferencesTest):
    def setUp(self):
        super().setUp()
        make_network()
        self.state = str(self.folder / "state")
        os.environ["XDG_STATE_HOME"] = self.state
        self.addCleanup(self.end_web)
        self.start_agent()
        self.open_window()
        self.wait_for_text("Add any phone by its browser")
        self.click("push button", "Add a phone by its browser…")
        self.wait_for_text("The code lets one browser in, until")

    def end_web(self):
        del os.environ["XDG_STATE_HOME"]
        self.end_programs()

    def end_programs(self):
        for process in programs_of(self.state):
            os.kill(process, signal.SIGTERM)
        until("end of clipmule-web", lambda: not programs_of(self.state))

    def read_code(self):
        """What a camera reads off the screen."""
        def look():
            screen = subprocess.run(["import", "-window", "root", "png:-"], capture_output=True, check=True).stdout
            return subprocess.run(["zbarimg", "-q", "--raw", "png:-"], input=screen, capture_output=True,
                                  check=False).stdout.decode().strip()
        return until("code on the screen", look)

    def list_browsers(self):
        return subprocess.run([BIN / "clipmule-web", "list"], capture_output=True, text=True, check=True,
                              timeout=PATIENCE_SECONDS).stdout

    def test_a_phone_is_added_renamed_and_unpaired(self):
        link = self.read_code()
        computer = urllib.parse.urlsplit(link).hostname
        phone = next(address for address in ADDRESSES if address != computer)
        self.assertTrue(link.startswith(f"http://{computer}:24736/#"), link)
        self.assertEqual(Atspi.Text.get_text(self.node("text", "Or open this link:"), 0, -1), link)
        connection = http.client.HTTPConnection(computer, 24736, source_address=(phone, 0))
        self.addCleanup(connection.close)
        connection.request("GET", "/")
        self.assertIn(b"<html", connection.getresponse().read())
        self.wait_for_text("The page is open on a phone.")
        self.assertEqual(asyncio.run(pair(link, phone, "Anna’s phone"))["is"], "welcome")
        self.wait_for_text("“Anna’s phone” is paired.")
        press("Return")
        self.wait_for_paired("Anna’s phone, Connected")
        self.focus_list("p", "Paired phones")
        press(F2)
        self.node("text", "Name of the phone:")
        until("dialog in front", lambda: self.is_in_front("Rename Phone"))
        xdotool("type", "Mum")
        press("Return")
        self.wait_for_paired("Mum, Connected")
        until("new name where it is kept", lambda: "\tMum\t" in self.list_browsers())
        press("Delete")
        self.wait_for_text("“Mum” was unpaired.")
        press("ctrl+w")
        until("end of its key", lambda: self.list_browsers() == "")

    def test_the_link_leads_nowhere_any_more(self):
        computer = urllib.parse.urlsplit(self.read_code()).hostname
        change_address("del", computer)
        self.addCleanup(change_address, "add", computer)
        self.wait_for_text("This computer has another address now")
        self.click("push button", "New Code")
        self.wait_for_text("The code lets one browser in, until")
        self.assertNotIn(computer, self.read_code())

    def test_another_program_has_the_port(self):
        self.read_code()
        self.end_programs()
        self.wait_for_text("The program that serves the page has ended")
        with socket.create_server(("0.0.0.0", 24736)):
            self.click("push button", "New Code")
            self.wait_for_text("another program on this computer has its port")
        self.click("push button", "New Code")
        self.wait_for_text("The code lets one browser in, until")

    def test_the_program_ends_and_a_new_code_is_made(self):
        first = self.read_code()
        for process in programs_of(self.state):
            os.kill(process, signal.SIGKILL)
        self.wait_for_text("The program that serves the page has ended")
        self.click("push button", "New Code")
        self.wait_for_text("The code lets one browser in, until")
        self.assertNotEqual(self.read_code(), first)
        # Somebody asks for one in a terminal.
        subprocess.run([BIN / "clipmule-web", "code"], check=True, stdout=subprocess.DEVNULL)
        self.wait_for_text("A newer code was made elsewhere")
        press("Escape")
        until("end of the dialog", lambda: not self.nodes("push button", "New Code"))
        self.assertTrue(self.nodes("push button", "Add a phone by its browser…"))


if __name__ == "__main__":
    unittest.main()
