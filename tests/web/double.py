# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A double of clipmule-web: serves the page as that does, and does on the socket what a test says,
also what clipmule-web never would. Of the same protocol, by another library."""

import asyncio
import base64
import contextlib
import hashlib
import http
import json
import mimetypes
import pathlib
import queue
import secrets
import struct
import threading

from nacl import bindings, exceptions
import websockets
import websockets.legacy.server

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
PAGE = ROOT / "web" / "page"
SEALING = pathlib.Path("/usr/share/nodejs/tweetnacl/nacl-fast.min.js")
PATIENCE_SECONDS = 60
PIECE_BYTES = 65000
HEADERS = {
    "Content-Security-Policy":
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob: data:; "
        "connect-src 'self' blob: data:; worker-src 'self'; manifest-src 'self'; base-uri 'none'; "
        "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; "
        "trusted-types clipmule-page",
    "X-Content-Type-Options": "nosniff",
    "Referrer-Policy": "no-referrer",
    "Cross-Origin-Resource-Policy": "same-origin",
    "Cache-Control": "no-cache",
}
FILTERS = [{"name": "ZRKUpper", "label": "Upper Case"}, {"name": "ZRKLower", "label": "Lower Case"},
           {"name": "ZRKReverse", "label": "Reverse"}, {"name": "ZRKFails", "label": "Fails"}]
DO = {"ZRKUpper": str.upper, "ZRKLower": str.lower, "ZRKReverse": lambda text: text[::-1]}


def digest(label, *parts):
    return hashlib.sha512(label.encode() + b"\0" + b"".join(parts)).digest()


def code_id(code):
    return digest("clipmule page code id", code)[:16]


class Peer:
    """One connection of a page."""

    def __init__(self, double, socket):
        self.double = double
        self.socket = socket
        self.sent = self.received = 0
        self.receive_key = self.send_key = None
        self.transfer = 0
        self.incoming = {}
        self.browser = None
        self.pairing = None

    async def shake_hands(self):
        hello = await self.socket.recv()
        self.double.hellos.put(hello)
        if self.double.silent:
            await self.socket.wait_closed()
            return False
        assert len(hello) == 90 and hello[0] == 1, hello
        kind, number, nonce, sealed = hello[1:2], hello[2:18], hello[18:42], hello[42:]
        keys = {code_id(code): code for code in self.double.codes} if kind == b"P" else self.double.browsers
        if number not in keys:
            await self.socket.send(b"\3")
            return False
        key = keys[number]
        try:
            theirs = bindings.crypto_secretbox_open(sealed, nonce, key)
        except exceptions.CryptoError:
            return False
        own, secret = bindings.crypto_box_keypair()
        answer = self.double.alter_answer(own, theirs, secrets.token_bytes(24), key)
        shared = bindings.crypto_scalarmult(secret, theirs)
        session = digest("clipmule page session", key, shared, theirs, own)
        self.receive_key, self.send_key = session[:32], session[32:64]
        if kind == b"P":
            self.pairing = (key, digest("clipmule page browser id", key, shared)[:16],
                            digest("clipmule page browser key", key, shared)[:32])
        else:
            self.browser = number
        await self.socket.send(answer)
        return True

    def seal(self, plain):
        sealed = bindings.crypto_secretbox(plain, bytes(16) + struct.pack(">Q", self.sent), self.send_key)
        self.sent += 1
        return sealed

    async def send(self, plain):
        await self.socket.send(self.seal(plain))

    async def say(self, **message):
        await self.send(b"\0" + json.dumps(message).encode())

    async def give(self, asked, content):
        self.transfer += 2
        number = self.transfer
        await self.say(**{"is": "data", "transfer": number, "for": asked, "size": len(content)})
        for start in range(0, len(content), PIECE_BYTES):
            await self.send(b"\1" + struct.pack(">I", number) + content[start:start + PIECE_BYTES])

    async def run(self):
        if not await self.shake_hands():
            return
        self.double.peers.append(self)
        async for sealed in self.socket:
            nonce = bytes(16) + struct.pack(">Q", self.received)
            plain = bindings.crypto_secretbox_open(sealed, nonce, self.receive_key)
            self.received += 1
            if plain[0] == 1:
                await self.take_piece(struct.unpack(">I", plain[1:5])[0], plain[5:])
                continue
            message = json.loads(plain[1:])
            if message.get("size"):
                self.incoming[message["transfer"]] = (message, bytearray())
            else:
                await self.take(message, b"")

    async def take_piece(self, number, content):
        if number not in self.incoming:
            return
        message, whole = self.incoming[number]
        whole += content
        assert len(whole) <= message["size"]
        if len(whole) == message["size"]:
            del self.incoming[number]
            await self.take(message, bytes(whole))

    async def take(self, message, content):
        name = message["is"]
        if name == "pair":
            code, number, key = self.pairing
            self.double.codes.remove(code)
            self.double.browsers[number] = key
            self.double.names[number] = message["name"]
            self.browser = number
        self.double.heard.put((message, content))
        if name in ("pair", "resume"):
            await self.welcome()
        elif name == "ping" and not self.double.deaf:
            await self.say(**{"is": "pong"})
        elif name == "rename":
            self.double.names[self.browser] = message["name"]
            await self.say(**{"is": "renamed", "name": message["name"]})
        elif name == "forget":
            del self.double.browsers[self.browser]
            await self.socket.close()
        elif name == "cancel":
            self.incoming.pop(message["transfer"], None)
        elif name == "fetch" and not self.double.holds:
            content = self.double.contents.get((message["clip"], message["what"]))
            if content is None:
                await self.say(**{"is": "refused", "for": message["transfer"], "why": "gone"})
            else:
                await self.give(message["transfer"], content)
        elif name == "filter":
            await self.filter(message, content)
        elif name == "send" and self.double.answer:
            await self.say(**{**self.double.answer, "for": message["transfer"]})

    async def welcome(self):
        await self.say(**{"is": "welcome", "computer": self.double.computer,
                          "name": self.double.names[self.browser], "filters": FILTERS, "keeps": self.double.keeps,
                          "limits": self.double.limits})
        await self.say(**{"is": "state", "desk": self.double.desk})
        await self.say(**{"is": "clips", "clips": self.double.clips})

    async def filter(self, message, content):
        if "clip" in message:
            content = next(clip["text"] for clip in self.double.clips if clip["id"] == message["clip"]).encode()
        change = DO.get(message["filter"])
        if change:
            await self.give(message["transfer"], change(content.decode()).encode())
        else:
            await self.say(**{"is": "refused", "for": message["transfer"], "why": "filter"})


class Double:
    """Runs in a thread of its own. What a test changes has its effect on the next thing that happens."""

    def __init__(self, address, tls=None):
        self.address = address
        self.tls = tls
        self.port = 0
        self.computer = "desk"
        self.desk = "connected"
        self.limits = {"text": 9999999, "picture": 9999999}
        self.codes = []
        self.browsers = {}
        self.names = {}
        self.clips = []
        self.contents = {}
        # What a send is answered with; None: nothing.
        self.answer = {"is": "sent"}
        self.silent = self.deaf = False
        # Asked for a text or a picture, it says nothing; whether it keeps clips for a closed page.
        self.holds = False
        self.keeps = True
        # A script that runs before the page's own: what this browser can and cannot do.
        self.before = ""
        self.alter_answer = self.honest_answer
        self.peers = []
        self.heard = queue.Queue()
        self.hellos = queue.Queue()
        self.requests = []
        # Paths that are refused the next time.
        self.missing = []
        self.loop = asyncio.new_event_loop()
        self.server = None
        self.thread = threading.Thread(target=self.loop.run_forever, daemon=True)
        self.thread.start()

    @staticmethod
    def honest_answer(own, theirs, nonce, key):
        return b"\2" + nonce + bindings.crypto_secretbox(own + theirs, nonce, key)

    def do(self, work):
        return asyncio.run_coroutine_threadsafe(work, self.loop).result(PATIENCE_SECONDS)

    def start(self):
        self.do(self._start())

    async def _start(self):
        # The newer one has another interface, and Debian 12 does not have it.
        self.server = await websockets.legacy.server.serve(
            self._serve, self.address, self.port, process_request=self._answer, ssl=self.tls,
            subprotocols=["clipmule-page-1"], max_size=66000, compression=None, ping_interval=None)
        self.port = self.server.sockets[0].getsockname()[1]

    def stop(self):
        """As a program that was killed: the port refuses, and the connections break."""
        async def stop():
            # Not by a handshake: a browser that has put the page to sleep lets it wait for 50 seconds.
            for connection in tuple(self.server.websockets):
                connection.transport.abort()
            self.server.close()
            await self.server.wait_closed()
        self.peers.clear()
        if self.server:
            self.do(stop())
            self.server = None

    def end(self):
        self.stop()
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()
        self.loop.close()

    async def _answer(self, path, headers):
        if path == "/socket":
            return None
        self.requests.append(path)
        if path in self.missing:
            self.missing.remove(path)
            return http.HTTPStatus.SERVICE_UNAVAILABLE, HEADERS, b""
        name = "index.html" if path == "/" else path[1:]
        file = SEALING if name == SEALING.name else PAGE / name
        if "/" in name or not file.is_file():
            return http.HTTPStatus.NOT_FOUND, HEADERS, b""
        kind = {".js": "text/javascript", ".webmanifest": "application/manifest+json"}.get(
            file.suffix) or mimetypes.guess_type(name)[0]
        # Over plain HTTP browsers ignore it, and complain.
        opener = {"Cross-Origin-Opener-Policy": "same-origin"} if self.tls else {}
        content = (self.before.encode() if name == "start.js" else b"") + file.read_bytes()
        return http.HTTPStatus.OK, {**HEADERS, **opener, "Content-Type": f"{kind}; charset=utf-8"}, content

    async def _serve(self, socket, _path):
        peer = Peer(self, socket)
        with contextlib.suppress(websockets.ConnectionClosed):
            await peer.run()
        if peer in self.peers:
            self.peers.remove(peer)

    @property
    def origin(self):
        return f"{'https' if self.tls else 'http'}://{self.address}:{self.port}/"

    def link(self):
        """A fresh code's link."""
        self.codes.append(secrets.token_bytes(32))
        return self.origin + "#" + base64.urlsafe_b64encode(self.codes[-1]).decode().rstrip("=")

    def say(self, **message):
        """To every page that is connected."""
        for peer in list(self.peers):
            self.do(peer.say(**message))

    def send_raw(self, data):
        for peer in list(self.peers):
            self.do(peer.socket.send(data))

    def add(self, clip):
        self.clips.insert(0, clip)
        self.say(**{"is": "clip", "clip": clip})

    def hear(self, name):
        """The next message of that name, and its content."""
        while True:
            message, content = self.heard.get(timeout=PATIENCE_SECONDS)
            if message["is"] == name:
                return message, content
