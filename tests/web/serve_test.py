#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""scripts/serve-page: agent and page together, and gone together.

Runs inside scripts/private-desktop --network; CLIPMULE_BIN says where the programs are.
"""

import os
import pathlib
import signal
import sys
import unittest
import urllib.request

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "desktop"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from pagetest import ADDRESS, ROOT, browsers  # noqa: E402
from agent_test import BIN, AgentTest  # noqa: E402
from programs import PATIENCE_SECONDS, until  # noqa: E402

AGENT = "com.zendrik.ClipmuleSync"


class ServeTest(AgentTest):
    def setUp(self):
        super().setUp()
        browsers.make_network(ADDRESS)
        # A shell that was started without it could not be interrupted.
        signal.signal(signal.SIGINT, signal.default_int_handler)

    def serve(self, *options):
        return self.start("serve-page", ROOT / "scripts" / "serve-page", BIN, "--address", ADDRESS, "--port", "0",
                          "--data", self.folder / "page", *options)

    @staticmethod
    def fetch(link):
        with urllib.request.urlopen(link.partition("#")[0], timeout=PATIENCE_SECONDS) as answer:
            return answer.read().decode()

    def programs_left(self):
        """Of this desktop, whose process namespace is its own."""
        links = (pathlib.Path("/proc", number, "exe") for number in os.listdir("/proc") if number.isdigit())
        return [name for name in (os.path.realpath(link) for link in links) if name.startswith(str(BIN.resolve()))]

    def test_a_signal_ends_both(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number.name):
                served = self.serve()
                link, printed = browsers.scan(served)
                self.assertEqual(link, printed)
                self.assertIn("<title>Clipmule</title>", self.fetch(link))
                until("agent on the bus", lambda: self.owner_of(AGENT))
                served.process.send_signal(number)
                self.assertEqual(served.process.wait(timeout=PATIENCE_SECONDS), 0)
                self.assertEqual(self.programs_left(), [])
                with self.assertRaises(OSError):
                    self.fetch(link)

    def test_what_cannot_serve_takes_the_agent_along(self):
        served = self.serve("--keep", "everything")
        self.assertEqual(served.process.wait(timeout=PATIENCE_SECONDS), 2)
        self.assertEqual(self.programs_left(), [])
        self.assertTrue(self.logged('--keep takes "none" or "clips"'))

    def test_an_agent_that_runs_already_is_left_alone(self):
        agent = self.start_agent()
        served = self.serve()
        browsers.scan(served)
        until("second agent's end", lambda: len(self.programs_left()) == 2)
        self.assertEqual(served.stop(), 0)
        self.assertEqual(self.programs_left(), [str(BIN.resolve() / "clipmule-sync")])
        self.assertEqual(agent.stop(), 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)
