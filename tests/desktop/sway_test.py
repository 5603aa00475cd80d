#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The agent on sway, without an X server and with one.

Runs inside scripts/private-desktop --wayland sway --network; CLIPMULE_BIN says where the programs are.
"""

import json
import subprocess
import sys
import unittest

sys.dont_write_bytecode = True
import agent_test  # noqa: E402
import main_job  # noqa: E402
from programs import PATIENCE_SECONDS  # noqa: E402

# Whether it has the data control that all agreed upon.
AGREED = main_job.version_in(subprocess.check_output(["sway", "--version"], text=True)) >= (1, 11)


class SwayTest(main_job.MainJob):
    clipboard_words = "ext-data-control" if AGREED else "wlr-data-control"
    pasting_words = "virtual-keyboard"
    not_announced = {"org_kde_kwin_keystate"} | (set() if AGREED else {"ext_data_control_manager_v1"})

    def windows(self):
        def walk(node):
            if node.get("pid"):
                yield node["id"], node["focused"]
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                yield from walk(child)

        done = subprocess.run(["swaymsg", "--raw", "--type", "get_tree"], capture_output=True,
                              timeout=PATIENCE_SECONDS, check=True)
        return list(walk(json.loads(done.stdout)))


class SwayXWaylandTest(SwayTest):
    """The agent is a client of both, and uses the compositor's clipboard and keys."""


class SwayEndTest(agent_test.AgentTest):
    """The last thing that can be tried in its desktop."""

    def test_the_end_of_the_compositor_ends_the_agent(self):
        self.start_agent()
        subprocess.run(["swaymsg", "exit"], timeout=PATIENCE_SECONDS, check=False,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        # Either is a failure, after which the session's manager starts it again. The second is the toolkit's, which
        # may be the first to notice; newer versions end with it.
        self.assertIn(self.agent.process.wait(timeout=PATIENCE_SECONDS), (1, 255))


if __name__ == "__main__":
    unittest.main(verbosity=2)
