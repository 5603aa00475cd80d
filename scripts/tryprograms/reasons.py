# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Why a row of the table is as it is, where the agent cannot help it."""

from .verdicts import CASES

NOBODY = "No clipboard manager is running, so that nobody keeps what the agent had."
NOT_ITS_WAY = "Takes over from no program that has ended, in the state after installation."
TEXTS_ONLY = "Keeps texts only, in the state after installation."
PICTURES = (CASES["agent_quits_image"], CASES["agent_quits_photo"])

REASONS = {
    ("Dolphin", "paste", "url"): "Makes a file of every text, and asks for its name.",
    ("Thunar", "paste", "url"): "Takes nothing but files, and says so as with every text.",
    **{(manager, "manager", case): reason
       for manager, reason in (("no manager", NOBODY), ("CopyQ", NOT_ITS_WAY),
                               ("GPaste", NOT_ITS_WAY))
       for case in (CASES["agent_quits_text"], *PICTURES)},
    **{(manager, "manager", case): TEXTS_ONLY
       for manager in ("Parcellite", "Klipper") for case in PICTURES},
}
