#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""Builds small trees with something wrong in each, and sees that it is found."""

import json
import os
import shutil
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True

import additions
import built
import headers
import includes
import messages
import table
import texts
from project import Project

SPDX = ("// SPDX-FileCopyrightText: 2026 The Clipmule Sync developers\n"
        "// SPDX-License-" "Identifier: MIT\n")


class Tree(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="layers.")
        self.addCleanup(shutil.rmtree, self.root)

    def write(self, name, text):
        path = os.path.join(self.root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)

    def tree(self, files):
        for name, text in files.items():
            self.write(name, text)
        return Project(self.root)

    def build_commands(self, *sources):
        os.makedirs(os.path.join(self.root, "build"), exist_ok=True)
        self.write("build/compile_commands.json", json.dumps([
            {"directory": self.root, "file": os.path.join(self.root, source),
             "command": f"g++ -std=c++20 -Wall -Werror -I{self.root} -o {source}.o -c {source}"}
            for source in sources]))
        return os.path.join(self.root, "build")

    def assert_one(self, problems, *fragments):
        problems = list(problems)
        self.assertEqual(len(problems), 1, problems)
        for fragment in fragments:
            self.assertIn(fragment, problems[0])


class Includes(Tree):
    WIDGETS = {"QLabel"}

    def check(self, files):
        return includes.check(self.tree(files), self.WIDGETS)

    def test_every_allowed_way_is_silent(self):
        self.assertEqual(self.check({
            "platform/foundation/Date.h": "#include <QString>\n",
            "platform/streams/Stream.h": '#include "platform/foundation/Date.h"\n',
            "platform/streams/Stream_socket.cpp":
                '#include "platform/streams/Stream.h"\n#include <sys/socket.h>\n',
            "platform/dbus/Bus.h": "#include <QDBusConnection>\n",
            "platform/power/Power.h": "",
            "platform/power/Power_logind.cpp": '#include "platform/dbus/Bus.h"\n',
            "support/ZRKNotificationCenter.h": "",
            "net/ZRKStreamHandler.h": '#include "platform/streams/Stream.h"\n'
                                      '#include "support/ZRKNotificationCenter.h"\n',
            "ui/Panel.h": "#include <QLabel>\n",
            "app/main.cpp": '#include "net/ZRKStreamHandler.h"\n#include "ui/Panel.h"\n'
                            '#include "main.moc"\n',
            "tests/net/tst_stream.cpp": '#include "net/ZRKStreamHandler.h"\n'
                                        '#include <sys/socket.h>\n',
        }), [])

    def test_a_lower_floor_may_not_include_a_higher_one(self):
        self.assert_one(self.check({"app/A.h": "", "net/N.cpp": '#include "app/A.h"\n'}),
                        "net/N.cpp", "net/ may not include app/A.h")

    def test_one_header_of_a_folder_is_not_the_folder(self):
        self.assert_one(self.check({
            "net/ServiceDictionary.h": "", "net/ZRKStreamHandler.h": "",
            "preferences/main.cpp": '#include "net/ServiceDictionary.h"\n'
                                    '#include "net/ZRKStreamHandler.h"\n'}),
                        "preferences/ may not include net/ZRKStreamHandler.h")

    def test_the_foundation_includes_nothing_of_ours(self):
        self.assert_one(self.check({"platform/streams/Stream.h": "", "platform/foundation/F.h":
                                    '#include "platform/streams/Stream.h"\n'}),
                        "platform/foundation/ may not include")

    def test_services_do_not_know_each_other(self):
        self.assert_one(self.check({"platform/streams/Stream.h": "", "platform/power/P.cpp":
                                    '#include "platform/streams/Stream.h"\n'}),
                        "platform/power/ may not include")

    def test_unit_tests_stay_with_their_folder(self):
        self.assert_one(self.check({"app/A.h": "", "tests/net/tst_n.cpp": '#include "app/A.h"\n'}),
                        "tests/net/ may not include app/A.h")

    def test_a_folder_without_a_row(self):
        self.assert_one(self.check({"misc/A.cpp": ""}), "misc/A.cpp", "no row")

    def test_includes_are_written_from_the_root(self):
        self.assert_one(self.check({"net/A.h": "", "net/A.cpp": '#include "A.h"\n'}),
                        '"A.h" is no file, seen from the root')

    def test_our_own_headers_stand_in_quotation_marks(self):
        self.assert_one(self.check({"net/A.h": "", "net/A.cpp": "#include <net/A.h>\n"}),
                        "quotation marks")

    def test_a_commented_include_is_none(self):
        self.assertEqual(self.check({
            "app/A.h": "", "net/N.cpp": '// #include "app/A.h"\n/*\n#include "app/A.h"\n*/\n'}), [])

    def test_every_kind_of_system_header_is_kept_out_of_the_program(self):
        samples = {"X11": "xcb/xcb.h", "Wayland": "wayland-client.h", "Avahi": "avahi-core/core.h",
                   "D-Bus": "QDBusConnection", "socket": "sys/socket.h"}
        self.assertEqual(samples.keys(), table.SYSTEM_HEADERS.keys())
        for kind, header in samples.items():
            with self.subTest(kind):
                self.assert_one(self.check({"app/main.cpp": f"#include <{header}>\n"}),
                                f"<{header}> is a {kind} header, which has no place in app/")

    def test_system_headers_stay_in_their_own_service(self):
        self.assert_one(self.check({"platform/power/P.cpp": "#include <xcb/xcb.h>\n"}),
                        "<xcb/xcb.h> is a X11 header, which has no place in platform/power/")

    def test_an_exception_holds_for_one_file_and_header(self):
        exempt = "Common/Categories/ZRKNSSystemCategories.cpp"
        self.assertEqual(self.check({exempt: "#include <ifaddrs.h>\n"}), [])
        self.assert_one(self.check({exempt: "#include <ifaddrs.h>\n#include <sys/socket.h>\n"}),
                        "<sys/socket.h>")
        os.remove(os.path.join(self.root, exempt))
        self.assert_one(self.check({"Common/Categories/Other.cpp": "#include <ifaddrs.h>\n"}),
                        "<ifaddrs.h>")

    def test_an_interface_header_holds_no_system_header(self):
        header = "platform/session/Session.h"
        files = {header: "#include <xcb/xcb.h>\n"}
        self.assertEqual(self.check(files), [])
        files["app/A.cpp"] = f'#include "{header}"\n'
        self.assert_one(self.check(files), header, "seen outside", "app/A.cpp")

    def test_an_interface_header_leads_to_no_system_header(self):
        self.assert_one(self.check({
            "platform/x11/Connection.h": "#include <xcb/xcb.h>\n",
            "platform/pasteboard/Private.h": '#include "platform/x11/Connection.h"\n',
            "platform/pasteboard/Pasteboard.h": '#include "platform/pasteboard/Private.h"\n',
            "model/M.cpp": '#include "platform/pasteboard/Pasteboard.h"\n'}),
                        "platform/x11/Connection.h", "seen outside", "model/M.cpp")

    def test_internal_services_show_the_system_to_their_sisters_only(self):
        files = {"platform/x11/Connection.h": "#include <xcb/xcb.h>\n",
                 "platform/keyboard/K.cpp": '#include "platform/x11/Connection.h"\n',
                 "platform/dbus/Names.h": "#include <memory>\n",
                 "preferences/P.cpp": '#include "platform/dbus/Names.h"\n'}
        self.assertEqual(self.check(files), [])
        files["app/A.cpp"] = '#include "platform/x11/Connection.h"\n'
        self.assert_one(self.check(files), "platform/x11/Connection.h", "seen outside", "app/A.cpp")

    def test_a_backend_is_named_where_it_is_chosen_only(self):
        backend = "platform/keyboard/backends/xtest/XTestKeys.h"
        files = {backend: "", "platform/keyboard/Keys.h": "",
                 "platform/keyboard/Keys.cpp": f'#include "{backend}"\n',
                 "platform/keyboard/backends/xtest/XTestKeys.cpp": f'#include "{backend}"\n',
                 "tests/keyboard/tst_keys.cpp": f'#include "{backend}"\n'}
        self.assertEqual(self.check(files), [])
        for name in ("platform/keyboard/More.h", "platform/keyboard/backends/null/NullKeys.cpp",
                     "app/A.cpp"):
            with self.subTest(name):
                self.assert_one(self.check({**files, name: f'#include "{backend}"\n'}), name,
                                "is a backend, which platform/keyboard/ alone chooses")
                os.remove(os.path.join(self.root, name))

    def test_widgets_stay_in_the_interface(self):
        self.assert_one(self.check({"model/M.cpp": "#include <QLabel>\n",
                                    "preferences/P.cpp": "#include <QLabel>\n"}),
                        "model/M.cpp", "<QLabel> is a widget")
        self.assertIn("QLabel", includes.Widgets())
        self.assertNotIn("QString", includes.Widgets())


class Messages(Tree):
    HEADER = """#pragma once
namespace MessageEnvelope {
enum class Type : int {
    Clip = 1,
};
Type type(int number);
}
"""
    ASKING = """#include "net/OutputObject.h"
int shown() {
    switch (MessageEnvelope::type(1)) {
    case MessageEnvelope::Type::Clip:
        return 1;
    %s
    }
    return 0;
}
"""

    def check(self, *rests):
        names = [f"app/A{number}.cpp" for number in range(len(rests))]
        project = self.tree({"net/OutputObject.h": self.HEADER} |
                            {name: self.ASKING % rest for name, rest in zip(names, rests)})
        return messages.check(project, self.build_commands(*names))

    def test_every_source_that_asks_must_know_every_type(self):
        self.assertEqual(self.check("", "", ""), [])
        self.assert_one(self.check("", "default:;", ""), "app/A1.cpp: compiles though")

    def test_fewer_than_must_ask(self):
        self.assert_one(self.check("", ""), "only 2 sources")


class Additions(Tree):
    BACKEND = {"platform/tray/backends/x/X.h": "", "platform/tray/backends/x/X.cpp":
               '#include "platform/tray/backends/x/X.h"\n',
               "platform/tray/CMakeLists.txt": "backends/x/X.cpp\n",
               "platform/tray/Tray.cpp": '#include "platform/tray/backends/x/X.h"\n',
               "tests/layers/table.py": '"platform/tray/backends/x/"\n',
               "tests/tray/tst_x.cpp": '#include "platform/tray/backends/x/X.h"\n',
               "docs/tray.md": "platform/tray/backends/x/\n"}
    FILTER = {"filters/FilterClasses.cpp": 'ZRKClipmuleTextFilter("Small")\nLarge\n',
              "filters/Large.cpp": 'ZRKClipmuleTextFilter("Large")\n',
              "filters/Large.h": "class Large\n",
              "resources/Info.plist": "Small Large\n",
              "tests/filters/tst_x.cpp": "Small Large\n"}

    def test_what_has_to_be_touched_is_counted(self):
        self.assertEqual(additions.check(self.tree(self.BACKEND | self.FILTER)), [])

    def test_a_backend_known_in_another_place(self):
        other = {"app/main.cpp": '#include "platform/tray/backends/x/X.h"\n'}
        self.assert_one(additions.check(self.tree(self.BACKEND | other)),
                        "platform/tray/backends/x/: known in 4 places", "app/main.cpp",
                        "platform/tray/CMakeLists.txt")

    def test_a_filter_known_in_another_place(self):
        for name in ("Small", "Large"):
            self.assert_one(additions.check(self.tree(self.FILTER | {"app/A.h": name})),
                            f"{name}: known in 4 places", "app/A.h", "its translations")


class Headers(Tree):
    def watch_compiler(self):
        """The list that the names of all headers compiled from now on come into."""
        compiled = []
        original = headers.compile_alone
        self.addCleanup(setattr, headers, "compile_alone", original)
        headers.compile_alone = lambda header, *rest: compiled.append(header) or original(header, *rest)
        return compiled

    def test_a_header_that_needs_another_before_it(self):
        project = self.tree({
            "net/Good.h": "#pragma once\n#include <string>\ninline std::string good;\n",
            "net/Bad.h": "#pragma once\nstd::string bad();\n",
            "net/N.cpp": '#include "net/Good.h"\n#include "net/Bad.h"\n'})
        build = self.build_commands("net/N.cpp")
        self.assert_one(headers.check(project, build), "net/Bad.h: does not compile alone")

    def test_a_header_that_cannot_be_included_twice(self):
        project = self.tree({"net/Twice.h": SPDX + "struct Twice {};\n#pragma once\n",
                             "net/Once.h": SPDX + "\n#pragma once\nstruct Once {};\n", "net/N.cpp": ""})
        self.assert_one(headers.check(project, self.build_commands("net/N.cpp")),
                        'net/Twice.h: does not begin with "#pragma once"')

    def test_what_a_source_includes_first_was_compiled_alone_by_building_it(self):
        compiled = self.watch_compiler()
        project = self.tree({
            "net/First.h": "#pragma once\n", "net/Second.h": "#pragma once\n",
            "net/N.cpp": '#include "net/First.h"\n#include "net/Second.h"\n',
            "net/NotBuilt.cpp": '#include "net/Second.h"\n'})
        self.assertEqual(headers.check(project, self.build_commands("net/N.cpp")), [])
        self.assertEqual(compiled, ["net/Second.h"])

    def test_a_header_that_nothing_built_leads_to(self):
        project = self.tree({"net/Lonely.h": "#pragma once\n", "app/A.cpp": ""})
        self.assert_one(headers.check(project, self.build_commands("app/A.cpp")),
                        "net/Lonely.h: no built source")

    def test_what_was_good_is_compiled_again_only_when_it_or_what_it_includes_has_changed(self):
        inner = "#pragma once\nusing Inner = int;\n"
        files = {"net/Inner.h": inner, "net/N.cpp": "",
                 "net/Outer.h": '#pragma once\n#include "net/Inner.h"\ninline Inner outer;\n'}
        build = self.build_commands("net/N.cpp")
        self.assertEqual(headers.check(self.tree(files), build), [])

        compiled = self.watch_compiler()
        self.assertEqual(headers.check(self.tree(files), build), [])
        self.assertEqual(compiled, [])

        files["net/Inner.h"] = inner.replace("Inner", "Renamed")
        self.assert_one(headers.check(self.tree(files), build), "net/Outer.h")
        self.assertEqual(sorted(compiled), ["net/Inner.h", "net/Outer.h"])

        # What was bad is not remembered.
        self.assert_one(headers.check(self.tree(files), build), "net/Outer.h")

    def test_output_and_sanitizers_are_left_out_of_the_command(self):
        self.assertEqual(
            headers.syntax_check(["/usr/bin/ccache", "/usr/bin/c++", "-DX=1", "-O2", "-MD", "-MT",
                                  "a.o", "-fsanitize=address", "-Wall", "-o", "a.o", "-c", "a.cpp"]),
            ["/usr/bin/c++", "-DX=1", "-Wall", "-fsyntax-only", "-x", "c++", "-"])
        self.assertEqual(
            headers.syntax_check(["env", "CCACHE_SLOPPINESS=a,b", "ccache", "g++", "-DX=1", "a.cpp"]),
            ["g++", "-DX=1", "-fsyntax-only", "-x", "c++", "-"])


class Built(Tree):
    FILES = {"tests/net/tst_a.cpp": "", "tests/kit/Kit.cpp": "", "fuzz/frames.cpp": "",
             "net/Product.cpp": ""}

    def check(self, sources, programs):
        return built.check(self.tree(self.FILES), self.build_commands(*sources), programs)

    def test_all_built_and_run(self):
        self.assertEqual(self.check(["tests/net/tst_a.cpp", "tests/kit/Kit.cpp", "fuzz/frames.cpp"],
                                    {"tst_a"}), [])

    def test_a_test_that_is_not_built(self):
        self.assert_one(self.check(["tests/kit/Kit.cpp", "fuzz/frames.cpp"], {"tst_a"}),
                        "tests/net/tst_a.cpp: is not built")

    def test_a_fuzz_target_that_is_not_built(self):
        self.assert_one(self.check(["tests/net/tst_a.cpp", "tests/kit/Kit.cpp"], {"tst_a"}),
                        "fuzz/frames.cpp: is not built")

    def test_a_test_that_is_built_but_never_run(self):
        self.assert_one(self.check(["tests/net/tst_a.cpp", "tests/kit/Kit.cpp", "fuzz/frames.cpp"],
                                    set()),
                        "tests/net/tst_a.cpp", "ctest does not run tst_a")


    def test_what_ctest_runs_is_asked_of_ctest(self):
        self.write("build/CTestTestfile.cmake",
                   'add_test(wrapped "/bin/sh" "/somewhere/tst_a")\nadd_test(tst_b "/not/yet/built")\n')
        programs = built.programs_run(os.path.join(self.root, "build"))
        self.assertLessEqual({"tst_a", "tst_b"}, programs)
        self.assertNotIn("tst_c", programs)


class Texts(Tree):
    def check(self, name, text):
        return texts.check(self.tree({name: text}))

    def test_a_clean_file(self):
        self.assertEqual(self.check("net/A.cpp", SPDX + "// Says why.\n"), [])

    def test_words_about_where_things_were_agreed(self):
        for words in ("as was spec" "ified, spec" "ification", "see spec" ".md", "Part" " 3.1", "issue" " 12",
                      "the" " spec says", "the seed" " documents"):
            with self.subTest(words):
                self.assert_one(self.check("docs/page.md", f"one\n{words}\n"), "docs/page.md:2:")

    def test_pictures_are_not_read(self):
        self.assertEqual(self.check("packaging/icon.svg", "Part" " 3.1"), [])

    def test_names_of_files(self):
        self.assert_one(self.check("docs/spec" ".md", ""), "the file's name")

    def test_a_source_without_a_licence(self):
        for name, text in (("net/A.cpp", "int a;\n"), ("scripts/tool", "#!/bin/sh\n"),
                           ("CMakeLists.txt", "project(x)\n"),
                           ("net/B.h", SPDX.splitlines(True)[0]),
                           ("web/page/a.js", "export {};\n"), ("web/page/a.css", "p {}\n")):
            with self.subTest(name):
                self.assert_one(self.check(name, text), name, "SPDX")
                os.remove(os.path.join(self.root, name))

    def test_what_was_left_open(self):
        self.assert_one(self.check("net/A.cpp", SPDX + "// TO" "DO more\n"), "net/A.cpp:3:")

    def test_a_test_that_waits_by_the_clock(self):
        wait = SPDX + "QTest::qWa" "it(5);\n"
        self.assertEqual(self.check("net/A.cpp", wait), [])
        self.assertEqual(self.check("tests/net/tst_a.cpp", wait.replace("5", "0")), [])
        self.assert_one(self.check("tests/net/tst_a.cpp", wait), "tests/net/tst_a.cpp:3:")

    def test_a_test_program_that_lets_warnings_pass(self):
        program = SPDX + "class A final : public %s {};\nQTEST_GUILESS_MAIN(A)\n"
        self.assertEqual(self.check("tests/net/tst_a.cpp", program % "kit::TestCase"), [])
        # One of those that derive from it.
        self.assertEqual(self.check("tests/net/tst_a.cpp", program % "kit::LayersTestCase"), [])
        self.assertEqual(self.check("tests/net/helper.cpp", SPDX), [])
        self.assert_one(self.check("tests/net/tst_a.cpp", program % "QObject"),
                        "tests/net/tst_a.cpp", "kit::TestCase")

    def test_the_length_of_a_file(self):
        self.assertEqual(self.check("net/A.cpp", SPDX + "\n" * 598), [])
        for name in ("net/A.cpp", "web/page/a.js"):
            self.assert_one(self.check(name, SPDX + "\n" * 599), "601 lines")
            os.remove(os.path.join(self.root, name))


class Listing(Tree):
    def test_includes_are_found_however_they_are_written(self):
        project = self.tree({"net/A.h": '#include "net/B.h"\n  #  include <vector>  // why\n'})
        self.assertEqual(project.includes("net/A.h"), [("net/B.h", True), ("vector", False)])

    def test_built_files_are_not_ours(self):
        self.assertEqual(self.tree({"build/release/x.h": "", "net/A.h": ""}).files, ["net/A.h"])


if __name__ == "__main__":
    unittest.main()
