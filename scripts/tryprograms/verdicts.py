# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What is tried, and how the outcome is put into words."""

RIGHT, OTHER, NOTHING, NOT_DRIVEN = "right", "other", "nothing", "not driven"

COPIES = {
    "text": "text", "styled": "styled text", "link": "link", "image": "image", "photo": "photo",
    "large photo": "large photo", "cells": "cells", "some rows": "200 rows", "rows": "3,000 rows",
    "file": "file", "picture file": "picture file", "password": "password",
}
PASTES = {
    "text": "text", "url": "URL", "strings": "several texts", "png": "PNG", "jpeg": "JPEG",
}
# Of clipboard managers, by the method that tries each.
CASES = {
    "phone_sends": "the phone sends five clips",
    "text_ends": "a text, its owner ends",
    "styled_ends": "a styled text, its owner ends",
    "image_ends": "an image, its owner ends",
    "image_ends_after_phone": "an image after a text of the phone, its owner ends",
    "gtk_text_quits": "a text, its owner hands over and quits",
    "gtk_image_quits": "an image, its owner hands over and quits",
    "secret_ends": "a secret after a text of the phone, its owner ends",
    "agent_quits_text": "a text of the phone, the agent is ended and started",
    "agent_quits_image": "an image of the phone, the agent is ended and started",
    "agent_quits_photo": "a photo of the phone, the agent is ended and started",
}


def amount(count):
    for unit, size in (("MB", 1_000_000), ("kB", 1_000)):
        if count >= size:
            return f"{count / size:.1f} {unit}"
    return f"{count} B"


def wire_size(value):
    """Sum of the strings and bytes of a clip as the stand-in describes it."""
    if isinstance(value, str):
        return len(value.encode())
    if isinstance(value, dict):
        if "sha256" in value and "bytes" in value:
            return value["bytes"]
        return sum(wire_size(each) for each in value.values())
    if isinstance(value, list):
        return sum(wire_size(each) for each in value)
    return 0


def natives(item):
    """The names of what came along beside the readings, each with its size."""
    found = {}
    for key, value in item.items():
        if isinstance(value, dict) and "native" in key.lower():
            for name, data in value.items():
                found[name] = wire_size(data)
    return found


def described(clip):
    """What a phone finds in a clip: its readings, and how much travelled."""
    parts = []
    items = clip.get("items") or []
    item = items[0] if items else {}
    if len(items) > 1:
        parts.append(f"{len(items)} items")
    if item.get("string"):
        parts.append(f"text {amount(len(item['string'].encode()))}")
    if item.get("url"):
        parts.append("URL")
    image = item.get("imageData")
    if image:
        parts.append(f"{image.get('format', '?').upper()} {image['width']}×{image['height']} "
                     f"{amount(image['bytes'])}")
    if not parts:
        parts.append("an empty item")
    other = natives(item)
    if other:
        parts.append(f"{len(other)} native")
    return ", ".join(parts) + f"; {amount(wire_size(clip))} in all"


def refusal(said):
    """What the agent says of why it sent nothing."""
    lines = [line for line in said.splitlines() if "Not sent" in line or "again" in line]
    return lines[-1].partition(": ")[2] if lines else ""
