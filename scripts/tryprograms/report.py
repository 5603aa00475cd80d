# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""The table of what arrives, and the results that it is made from."""

import json

from .reasons import REASONS
from .verdicts import CASES, COPIES, NOT_DRIVEN, NOTHING, OTHER, PASTES, RIGHT

LABELS = {**COPIES, **PASTES}
MARKS = {RIGHT: "✓", OTHER: "≠", NOTHING: "✗", NOT_DRIVEN: "?"}
HEADINGS = {"copy": "Copied on the desk", "paste": "Sent by the phone and pasted",
            "manager": "Clipboard managers"}
HEAD = """# Beside real programs

Made by `scripts/try-programs` (`./test --programs`), which drives these programs in a private desktop
with the agent and the stand-in of a phone; not to be edited. A column is a desktop.

✓ as it should be, ≠ something else, ✗ nothing, ? the program could not be driven. Sizes are those of
what travels: texts and bytes, without the frame around them.
"""
INTRODUCTIONS = {
    "copy": "What a phone finds in the clip, and how much travelled in all. Rows have 15 "
            "columns, a photo has 3000 × 2000 and a large one "
            "6000 × 4000 pixels.",
    "paste": "What became of it in the window in front.",
    "manager": "Each runs beside the agent while programs copy and quit in some way. “1 to the phone” "
               "is the copy itself; what comes more than once, or comes back, is told. Last comes "
               "whether the clipboard still had the contents afterwards.",
}


class Results:
    """By desktop: program → direction → kind → {"verdict", "what", …}. Rows that are not tried in this
    run stay as they are, and so do the other desktops."""

    def __init__(self, path, desktop):
        self.path = path
        self.desktops = read(path)
        self.programs = self.desktops.setdefault(desktop, {})

    def begin(self, program, version):
        entry = self.programs.setdefault(program, {})
        entry["version"] = version

    def add(self, program, direction, kind, result):
        kept = {"verdict": result["verdict"], "what": result["what"]}
        self.programs[program].setdefault(direction, {})[kind] = kept

    def save(self):
        self.path.parent.mkdir(parents=True, exist_ok=True)
        text = json.dumps(self.desktops, ensure_ascii=False, indent=1)
        self.path.write_text(text + "\n", encoding="utf-8")


def read(path):
    return json.loads(path.read_text(encoding="utf-8")) if path.exists() else {}


def escaped(text):
    return " ".join(text.split()).replace("|", "\\|").replace("<", "&lt;")


def cell(program, direction, kind):
    result = program.get(direction, {}).get(kind)
    if not result:
        return "–"
    return f"{MARKS[result['verdict']]} {escaped(result['what'])}"


def merged(desktops, direction):
    """Programs in the order of the first desktop that has them, and their kinds."""
    order = [*COPIES, *PASTES, *CASES.values()]
    found = {}
    for programs in desktops.values():
        for title, program in programs.items():
            if direction in program:
                kinds = found.setdefault(title, [])
                kinds += [kind for kind in program[direction] if kind not in kinds]
                kinds.sort(key=order.index)
    return found


def section(desktops, direction):
    rows = merged(desktops, direction)
    names = list(desktops)
    yield f"\n## {HEADINGS[direction]}\n\n{INTRODUCTIONS[direction]}\n"
    yield f"| program | what | {' | '.join(names)} |"
    yield "|---" * (2 + len(names)) + "|"
    reasons = []
    for title, kinds in rows.items():
        shown = title
        for kind in kinds:
            programs = [desktops[name].get(title, {}) for name in names]
            cells = [cell(program, direction, kind) for program in programs]
            reason = REASONS.get((title, direction, kind))
            if reason and any(not each.startswith((MARKS[RIGHT], "–")) for each in cells):
                if reason not in reasons:
                    reasons.append(reason)
                cells[-1] += f" ({reasons.index(reason) + 1})"
            yield f"| {shown} | {LABELS.get(kind, kind)} | {' | '.join(cells)} |"
            shown = ""
    for number, reason in enumerate(reasons):
        yield f"\n({number + 1}) {reason}"


def versions(desktops):
    yield "\n## Versions\n"
    for name, programs in desktops.items():
        listed = [f"{title} {program['version'] or '(not installed)'}"
                  for title, program in programs.items() if program["version"] != "–"]
        yield f"{name}: {', '.join(listed)}."


def write(results):
    """Beside the results, as a page."""
    desktops = read(results)
    lines = [HEAD.rstrip("\n")]
    for direction in HEADINGS:
        lines += section(desktops, direction)
    lines += versions(desktops)
    results.with_suffix(".md").write_text("\n".join(lines) + "\n", encoding="utf-8")
