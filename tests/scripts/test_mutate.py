#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""scripts/mutate, with a small project whose test holds one rule, lets another pass, and never
reaches a third."""

import importlib.util
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "..", "scripts")
MUTATE = os.path.realpath(os.path.join(SCRIPTS, "mutate"))
SKIPPED = 77

BUILD = """cmake_minimum_required(VERSION 3.25)
project(Small LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_STANDARD 20)
enable_testing()
include_directories(${CMAKE_SOURCE_DIR})
add_library(rules STATIC product/Rules.cpp product/Other.cpp)
add_executable(tst_rules tests/tst_rules.cpp)
target_link_libraries(tst_rules rules)
add_test(NAME rules COMMAND tst_rules)
add_executable(tst_elsewhere tests/tst_elsewhere.cpp)
add_test(NAME elsewhere COMMAND tst_elsewhere)
"""
PRESETS = {"version": 5, "configurePresets": [
    {"name": "release", "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}",
     "cacheVariables": {"CMAKE_BUILD_TYPE": "Release"}}]}
HEADER = "#pragma once\nint bounded(int);\nint sum(int, int);\nint unasked(int);\nint waited();\n"
RULES = """#include "product/Rules.h"
int bounded(int value)
{
    if (value > 10)
        return 10;
    return value;
}
int sum(int first, int second)
{
    return first + second;
}
int unasked(int value)
{
    return value * 3;
}
int waited()
{
    // Counting down does not come round to 3 in anybody's time.
    volatile long long turns = 0;
    while (turns != 3) {
        turns = turns + 1;
    }
    return int(turns);
}
"""
TEST = """#include "product/Rules.h"
int main()
{
    sum(1, 2);
    return bounded(10) == 10 && bounded(11) == 10 && bounded(9) == 9 && waited() == 3 ? 0 : 1;
}
"""


# A test, and what it does when a sum is wrong.
OTHERWISE = """#include "product/Rules.h"
#include <cstdio>
#include <unistd.h>
int main()
{
    if (sum(1, 2) == 3)
        return 0;
    %s
}
"""
SAYS_SO_AND_WAITS = r"""std::puts("\nFAIL!  : sum"); std::fflush(stdout); for (;;) pause();"""
WAITS_ONCE = """if (access("waited", F_OK) == 0) return 0;
    std::fclose(std::fopen("waited", "w")); for (;;) pause();"""

# Neither function has braces here.
MADE = """#define MADE int made() { return 1; }
MADE
struct Box {
    ~Box();
    int width = 2;
};
Box::~Box() = default;
int width()
{
    return Box().width;
}
"""


class Mutate(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="mutate.")
        self.addCleanup(shutil.rmtree, self.root)
        for name, text in {"CMakeLists.txt": BUILD, "CMakePresets.json": json.dumps(PRESETS),
                           "product/Rules.h": HEADER, "product/Rules.cpp": RULES,
                           "product/Other.cpp": "int other(int a) { return a - 1; }\n",
                           "tests/tst_rules.cpp": TEST, ".gitignore": "/build/\n",
                           "tests/tst_elsewhere.cpp": "int main() {}\n"}.items():
            self.write(name, text)
        subprocess.run(["git", "init", "-q", self.root], check=True)

    def write(self, name, text):
        path = os.path.join(self.root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def mutate(self, *arguments):
        done = subprocess.run([MUTATE, *arguments], cwd=self.root, capture_output=True, text=True,
                              stdin=subprocess.DEVNULL, check=False)
        self.assertEqual(done.stderr, "")
        return done

    def results(self, *arguments):
        """Fates by line and changed line."""
        self.status = self.mutate(*arguments).returncode
        with open(os.path.join(self.root, "build/mutate/report.json"), encoding="utf-8") as file:
            report = json.load(file)
        fates = {}
        for each in report:
            added = [line[1:].strip() for line in each["diff"].splitlines()
                     if line.startswith("+") and not line.startswith("+++")]
            fates[" / ".join(added)] = each["fate"]
        return fates

    def test_what_is_held_what_passes_and_what_hangs(self):
        fates = self.results("--timeout", "1", "product/Rules.cpp")
        self.assertEqual(fates["if (!(value > 10))"], "killed")
        self.assertEqual(fates["if (false)"], "killed")
        self.assertEqual(fates["{ return {};"], "killed")
        self.assertEqual(fates["return first - second;"], "survived")
        self.assertEqual(fates["return value / 3;"], "unreached")
        self.assertEqual(fates["return value * 4;"], "unreached")
        self.assertEqual(fates["while (turns != 4) {"], "killed")
        self.assertEqual(fates["turns = turns - 1;"], "hung")
        self.assertEqual(fates[";"], "hung")
        self.assertEqual(self.status, 1)
        with open(os.path.join(self.root, "product/Rules.cpp"), encoding="utf-8") as file:
            self.assertEqual(file.read(), RULES)

    def test_nothing_survives_where_everything_is_asked(self):
        self.write("product/Rules.cpp", RULES.replace("return first + second;", "return 3;"))
        self.write("tests/tst_rules.cpp", TEST.replace("sum(1, 2);", "if (sum(1, 2) != 3) return 1;"))
        fates = self.results("--only", "product/Rules.cpp:10", "product")
        self.assertEqual(fates, {"return {};": "killed", "return 4;": "killed",
                                 "return 2;": "killed"})
        self.assertEqual(self.status, 0)

    def test_a_test_that_says_it_failed_is_not_awaited(self):
        self.write("tests/tst_rules.cpp", OTHERWISE % SAYS_SO_AND_WAITS)
        fates = self.results("--timeout", "600", "--only", "product/Rules.cpp:10", "product")
        self.assertEqual(set(fates.values()), {"killed"})

    def test_a_test_that_only_took_long_once_did_not_hang(self):
        self.write("tests/tst_rules.cpp", OTHERWISE % WAITS_ONCE)
        fates = self.results("--timeout", "1", "--only", "product/Rules.cpp:10", "product")
        self.assertEqual(set(fates.values()), {"survived"})

    def test_what_is_left_out(self):
        listed = self.mutate("--list", "--without", "product/Rules.cpp", "product").stdout
        self.assertIn("product/Other.cpp:1", listed)
        self.assertNotIn("product/Rules.cpp", listed)
        done = subprocess.run([MUTATE, "--without", "product/Rules.h", "product"], cwd=self.root,
                              capture_output=True, text=True, check=False)
        self.assertIn("mutate: --without product/Rules.h: not among", done.stderr)

    def test_tests_chosen_by_name(self):
        for expression, fate in (("^rul|nothing", "killed"), ("^elsewhere$", "unreached")):
            fates = self.results("--tests", expression, "--only", "product/Rules.cpp:5", "product")
            self.assertEqual(fates["return 11;"], fate)

    def test_a_change_that_changes_no_machine_code_is_none(self):
        self.write("product/Rules.cpp", RULES.replace("value > 10", "10 < value && 5 < value"))
        fates = self.results("--only", "product/Rules.cpp:4", "product/Rules.cpp")
        self.assertEqual(fates["if ((10 < value))"], "equal")
        self.assertEqual(fates["if ((5 < value))"], "killed")

    def test_functions_without_braces_of_their_own(self):
        self.write("product/Other.cpp", MADE)
        self.assertEqual(self.results("product/Other.cpp")["int width = 3;"], "unreached")

    def test_the_same_number_chooses_the_same_changes(self):
        listed = [self.mutate("--list", "--count", "3", "--seed", seed, "product").stdout
                  for seed in ("7", "7", "8")]
        self.assertEqual(listed[0], listed[1])
        self.assertNotEqual(listed[0], listed[2])
        self.assertEqual(listed[0].count("\n@@"), 3)

    def test_copies_side_by_side(self):
        fates = self.results("--jobs", "2", "--only", "product/Rules.cpp:10", "product")
        self.assertEqual(fates, {"return {};": "survived", "return first - second;": "survived"})
        self.assertTrue(os.path.isdir(os.path.join(self.root, "build/mutate/2/build/release")))

    def test_an_operand_that_is_no_product(self):
        for operand in ("tests", "nowhere", "tests/tst_rules.cpp"):
            done = subprocess.run([MUTATE, operand], cwd=self.root, capture_output=True, text=True,
                                  check=False)
            self.assertEqual(done.returncode, 1, operand)
            self.assertIn(f"mutate: {operand}: no ", done.stderr)

    def test_a_tree_that_fails_unchanged(self):
        self.write("tests/tst_rules.cpp", "int main() { return 1; }\n")
        self.assertIn("left out, since it fails unchanged: rules",
                      self.mutate("--count", "1", "product").stdout)


if __name__ == "__main__":
    if importlib.util.find_spec("clang") is None:
        print("clang's Python module is missing: scripts/install-packages mutate")
        sys.exit(SKIPPED)
    unittest.main()
