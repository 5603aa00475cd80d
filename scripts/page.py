# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""A page without a browser, for scripts: what docs/page-protocol.md says of it, with no screen to draw on."""

import asyncio
import base64
import hashlib
import json
import secrets
import struct
import threading

from nacl import bindings
import websockets

PATIENCE_SECONDS = 60
PIECE_BYTES = 65000


def digest(label, *parts):
    return hashlib.sha512(label.encode() + b"\0" + b"".join(parts)).digest()


class Page:
    """Paired by the link of a code, or come back with what an earlier page keeps."""

    def __init__(self, link, kept=None):
        self.origin, code = link.split("/#")
        key = base64.urlsafe_b64decode(code + "=") if kept is None else kept[1]
        identifier = digest("clipmule page code id", key)[:16] if kept is None else kept[0]
        self.sent = self.received = 0
        self.transfer = -1
        self.loop = asyncio.new_event_loop()
        threading.Thread(target=self.loop.run_forever, daemon=True).start()
        self.socket = self.run(self.connect())
        secret = secrets.token_bytes(32)
        public = bindings.crypto_scalarmult_base(secret)
        nonce = secrets.token_bytes(24)
        self.write(b"\1" + (b"P" if kept is None else b"R") + identifier + nonce
                   + bindings.crypto_secretbox(public, nonce, key))
        answer = self.read()
        both = bindings.crypto_secretbox_open(answer[25:], answer[1:25], key)
        shared = bindings.crypto_scalarmult(secret, both[:32])
        session = digest("clipmule page session", key, shared, public, both[:32])
        self.send_key, self.receive_key = session[:32], session[32:]
        self.kept = kept or (digest("clipmule page browser id", key, shared)[:16],
                             digest("clipmule page browser key", key, shared)[:32])
        self.say({"is": "resume", "language": "en"} if kept else {"is": "pair", "name": "Page", "language": "en"})
        self.hear("clips")

    def run(self, work):
        return asyncio.run_coroutine_threadsafe(asyncio.wait_for(work, PATIENCE_SECONDS), self.loop).result()

    async def connect(self):
        return await websockets.connect(self.origin.replace("http", "ws", 1) + "/socket", origin=self.origin,
                                        subprotocols=["clipmule-page-1"], max_size=None, compression=None,
                                        ping_interval=None)

    def write(self, message):
        self.run(self.socket.send(message))

    def read(self):
        return self.run(self.socket.recv())

    def seal(self, plain):
        self.write(bindings.crypto_secretbox(plain, struct.pack(">16xQ", self.sent), self.send_key))
        self.sent += 1

    def open(self):
        plain = bindings.crypto_secretbox_open(self.read(), struct.pack(">16xQ", self.received), self.receive_key)
        self.received += 1
        return plain

    def say(self, message):
        self.seal(b"\0" + json.dumps(message).encode())

    def hear(self, name):
        """The next message of that name, whatever comes before."""
        while True:
            plain = self.open()
            if plain[0] == 0:
                message = json.loads(plain[1:])
                if message["is"] == name:
                    return message

    def send(self, kind, content):
        """One clip for the desk; returns its transfer."""
        self.transfer += 2
        self.say({"is": "send", "transfer": self.transfer, "size": len(content), "kind": kind})
        for start in range(0, len(content), PIECE_BYTES):
            self.seal(b"\1" + struct.pack(">I", self.transfer) + content[start:start + PIECE_BYTES])
        return self.transfer

    def fetch(self, clip, what):
        """The whole text or picture of a clip."""
        self.transfer += 2
        self.say({"is": "fetch", "clip": clip, "what": what, "transfer": self.transfer})
        size = self.hear("data")["size"]
        content = bytearray()
        while len(content) < size:
            plain = self.open()
            if plain[0] == 1:
                content += plain[5:]
        return bytes(content)

    def close(self):
        self.run(self.socket.close())
        self.loop.call_soon_threadsafe(self.loop.stop)
