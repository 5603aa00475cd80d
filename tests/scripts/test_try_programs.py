#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""scripts/try-programs: what the table says, without the programs."""

import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "scripts"))

from tryprograms import reasons, report, verdicts  # noqa: E402


class Verdicts(unittest.TestCase):
    def test_sizes_are_told_in_the_unit_that_suits(self):
        self.assertEqual([verdicts.amount(count) for count in (0, 999, 1000, 999_999, 1_000_000)],
                         ["0 B", "999 B", "1.0 kB", "1000.0 kB", "1.0 MB"])

    def test_what_travels_is_texts_and_bytes(self):
        clip = {"items": [{"string": "€", "imageData": {"bytes": 500, "sha256": "00", "width": 7},
                           "createdBy": 2}]}
        self.assertEqual(verdicts.wire_size(clip), 503)

    def test_a_clip_is_told_by_its_readings(self):
        item = {"string": "mill", "url": "https://example.org/",
                "imageData": {"format": "png", "width": 4, "height": 3, "bytes": 70, "sha256": "0"},
                "native": {"public.html": {"bytes": 20, "sha256": "0"}}}
        self.assertEqual(verdicts.described({"items": [item]}),
                         "text 4 B, URL, PNG 4×3 70 B, 1 native; 114 B in all")
        self.assertEqual(verdicts.described({"items": [{}]}), "an empty item; 0 B in all")
        self.assertEqual(verdicts.described({"items": [{"string": "a"}, {"string": "b"}]}),
                         "2 items, text 1 B; 2 B in all")

    def test_the_agents_reason_is_found_in_its_log(self):
        self.assertEqual(verdicts.refusal("debug x: y\nwarning clipmule.app: Not sent: too large."),
                         "Not sent: too large.")
        self.assertEqual(verdicts.refusal("debug clipmule.app: pasted"), "")


class Table(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="try-programs."))
        self.addCleanup(shutil.rmtree, self.folder)
        self.path = self.folder / "programs.json"

    def results(self, desktop):
        return report.Results(self.path, desktop)

    def rows(self):
        report.write(self.path)
        text = self.path.with_suffix(".md").read_text(encoding="utf-8")
        return [line for line in text.splitlines() if line.startswith("|")], text

    def add(self, results, verdict, what, kind="text"):
        results.begin("Kate", "1.2")
        results.add("Kate", "copy", kind, {"verdict": verdict, "what": what})
        results.save()

    def test_each_desktop_fills_a_column(self):
        self.add(self.results("X11"), verdicts.RIGHT, "text 4 B")
        self.add(self.results("Wayland"), verdicts.NOTHING, "a | b")
        rows, _ = self.rows()
        self.assertEqual(rows[:3], ["| program | what | X11 | Wayland |", "|---|---|---|---|",
                                    "| Kate | text | ✓ text 4 B | ✗ a \\| b |"])

    def test_what_was_not_tried_again_stays(self):
        self.add(self.results("X11"), verdicts.RIGHT, "before", "cells")
        self.add(self.results("X11"), verdicts.OTHER, "now")
        rows, _ = self.rows()
        self.assertEqual(rows[2:4], ["| Kate | text | ≠ now |", "|  | cells | ✓ before |"])

    def test_a_program_that_is_not_there_is_told(self):
        results = self.results("X11")
        results.begin("Kate", "")
        results.add("Kate", "copy", "text", {"verdict": verdicts.NOT_DRIVEN, "what": "no window"})
        results.save()
        rows, text = self.rows()
        self.assertEqual(rows[2], "| Kate | text | ? no window |")
        self.assertIn("X11: Kate (not installed).", text)

    def test_what_cannot_be_helped_has_its_reason(self):
        before = dict(reasons.REASONS)
        self.addCleanup(lambda: (reasons.REASONS.clear(), reasons.REASONS.update(before)))
        reasons.REASONS["Kate", "copy", "cells"] = "It has none."
        self.add(self.results("X11"), verdicts.NOTHING, "nothing", "cells")
        rows, text = self.rows()
        self.assertEqual(rows[2], "| Kate | cells | ✗ nothing (1) |")
        self.assertIn("\n(1) It has none.", text)
        self.add(self.results("X11"), verdicts.RIGHT, "cells", "cells")
        rows, text = self.rows()
        self.assertEqual(rows[2], "| Kate | cells | ✓ cells |")
        self.assertNotIn("It has none.", text)

    def test_the_table_in_the_documents_is_made_from_their_results(self):
        shutil.copy(ROOT / "docs/programs.json", self.path)
        self.assertEqual(self.rows()[1], (ROOT / "docs/programs.md").read_text(encoding="utf-8"))

    def test_the_table_alone_needs_no_program(self):
        self.path.write_text(json.dumps({"X11": {}}), encoding="utf-8")
        subprocess.run([ROOT / "scripts/try-programs", "--table-only", "--results", self.path],
                       check=True)
        self.assertIn("# Beside real programs", self.path.with_suffix(".md").read_text())


if __name__ == "__main__":
    unittest.main()
