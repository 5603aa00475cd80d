#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Reads and writes the property lists of bench_plist and bench_archive with Python's plistlib.

usage: plist_plistlib.py DIRECTORY [--json FILE] [--rounds N]

DIRECTORY holds what `bench_plist --inputs DIRECTORY` or `bench_archive --inputs DIRECTORY` wrote
there: property lists as XML, and binary ones with the suffix .bplist.
"""

import argparse
import json
import pathlib
import plistlib
import statistics
import time


def milliseconds(work):
    begin = time.perf_counter()
    work()
    return (time.perf_counter() - begin) * 1000


def rows(directory, rounds):
    inputs = {path: path.read_bytes() for path in sorted(directory.glob("*.*plist"))}
    times = {}
    for _ in range(rounds):
        for path, text in inputs.items():
            value = plistlib.loads(text)
            form = plistlib.FMT_BINARY if path.suffix == ".bplist" else plistlib.FMT_XML
            for case, work in (
                ("read " + path.stem, lambda text=text: plistlib.loads(text)),
                ("write " + path.stem, lambda value=value, form=form: plistlib.dumps(value, fmt=form)),
            ):
                times.setdefault((case, len(text)), []).append(milliseconds(work))
    for (case, size), values in times.items():
        median = statistics.median(values)
        yield {
            "case": case,
            "side": "plistlib",
            "warm_ms": round(median, 3),
            "warm_min_ms": round(min(values), 3),
            "mb_per_s": round(size / 1e3 / median, 3),
            "runs": len(values),
        }


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("directory", type=pathlib.Path)
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    arguments = parser.parse_args()
    results = list(rows(arguments.directory, arguments.rounds))
    for row in results:
        print(f"{row['case']:<16} {row['warm_ms']:>9.2f} ms")
    if arguments.json:
        report = {"program": "plist_plistlib", "results": results}
        arguments.json.write_text(json.dumps(report, indent=4) + "\n")


main()
