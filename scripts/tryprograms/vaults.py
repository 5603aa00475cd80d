# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""KeePassXC: what it copies stays on the desk."""

import subprocess

from .desk import free_folder
from .screen import NotDriven, need, wait
from .trial import Program

LOCK = b"a long enough lock\n"


class KeePassXC(Program):
    title = "KeePassXC"
    packages = ("keepassxc",)

    def start(self):
        folder = free_folder(self.desk.folder / "vault")
        self.vault = folder / "vault.kdbx"
        self.tell("db-create", "--set-password", self.vault, data=LOCK * 2)
        self.tell("add", "--username", "miller", "--password-prompt", self.vault, "mill",
                  data=LOCK + b"hunter2\nhunter2\n")
        configuration = folder / "keepassxc.ini"
        configuration.write_text("[General]\nUpdateCheckMessageShown=true\nConfigVersion=2\n"
                                 "[GUI]\nCheckForUpdates=false\n", encoding="utf-8")
        self.process = self.desk.launch(
            "keepassxc", "--config", configuration, "--localconfig", folder / "local.ini",
            "--pw-stdin", self.vault, data=LOCK)
        self.window = self.desk.window("keepassxc", "vault")
        need("open vault", lambda: "locked" not in self.title_now().lower(), 20)
        wait(lambda: False, 1.0)

    def title_now(self):
        return next((window.title for window in self.screen.windows()
                     if window.number == self.window.number), "Locked")

    def tell(self, *arguments, data):
        done = subprocess.run(["keepassxc-cli", *map(str, arguments)], input=data,
                              capture_output=True, timeout=30, check=False)
        if done.returncode != 0:
            raise NotDriven(f"keepassxc-cli {arguments[0]}: {done.stderr.decode(errors='replace')}")

    def copy_password(self):
        self.screen.activate(self.window)
        self.screen.key("ctrl+f")
        self.screen.type("mill")
        wait(lambda: False, 1.0)
        self.screen.key("Down")
        wait(lambda: False, 0.5)
        self.screen.key("ctrl+c")
        return self.stays_here
