#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""What gets installed, where, and whether the desktop, the login and man understand it.

usage: test_packaging.py BUILD_FOLDER
"""

import configparser
import glob
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as xml

sys.dont_write_bytecode = True
PROGRAMS = {"clipmule-sync", "clipmule-preferences", "clipmule-phone", "clipmule-inspect",
            "clipmule-filter", "clipmule-web"}


def run(*command, **options):
    return subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                          check=False, **options)


SOURCES = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
README = os.path.join(SOURCES, "README.md")
UNIT = "systemd/user/clipmule-sync.service"
APPLICATIONS = "share/applications/com.zendrik.ClipmuleSync"
SERVICE = "share/dbus-1/services/com.zendrik.ClipmuleSync.Preferences.service"
AUTOSTART = "xdg/autostart/com.zendrik.ClipmuleSync.desktop"


def install(build, prefix, staging=None):
    """Installs, and returns what cmake said when that went wrong."""
    done = run("cmake", "--install", build, "--prefix", prefix,
               env={**os.environ, **({"DESTDIR": staging} if staging else {})})
    return done.stderr if done.returncode != 0 else ""


class Prefixes(unittest.TestCase):
    """Where things lie, and what they name, for several prefixes of one and the same build."""

    def setUp(self):
        self.root = tempfile.mkdtemp(prefix="packaging.")
        self.addCleanup(shutil.rmtree, self.root)

    def install_staged(self, prefix):
        self.assertEqual(install(self.build, prefix, self.root), "")

    def value(self, path, section, key):
        parser = configparser.ConfigParser(interpolation=None, strict=False)
        parser.optionxform = str
        with open(self.root + path, encoding="utf-8") as file:
            parser.read_file(file)
        return parser[section][key]

    def assert_names(self, units, autostart, applications, unit_exec, service_exec, entry_exec,
                     entry_try):
        # Who has just installed it wants to see something, however the session starts it.
        self.assertEqual(self.value(units, "Service", "ExecStart"), unit_exec + " --login")
        below = applications.removesuffix("/applications")
        self.assertEqual(self.value(f"{below}/{SERVICE.removeprefix('share/')}", "D-BUS Service",
                                    "Exec"), service_exec)
        # Whoever starts it from a menu wants to see something, too.
        for path, rest in ((autostart, " --login"),
                           (f"{applications}/com.zendrik.ClipmuleSync.desktop", " --show")):
            self.assertEqual(self.value(path, "Desktop Entry", "Exec"), entry_exec + rest)
            self.assertEqual(self.value(path, "Desktop Entry", "TryExec"), entry_try)

        self.assert_only_one_entry_asks_kde(applications, unit_exec)

    def assert_only_one_entry_asks_kde(self, applications, program):
        """KDE compares whole commands, and takes any of the entries that have the one that runs."""
        def of(name, key):
            return self.value(f"{applications}/{name}", "Desktop Entry", key)

        commands = {name: of(name, "Exec") for name in os.listdir(self.root + applications)}
        self.assertEqual([name for name, command in commands.items() if command == program],
                         ["com.zendrik.ClipmuleSync.Agent.desktop"])
        self.assertEqual(of("com.zendrik.ClipmuleSync.Agent.desktop", "X-KDE-Wayland-Interfaces"),
                         "org_kde_kwin_fake_input,org_kde_plasma_window_management")
        # Menus have the other one.
        self.assertEqual(of("com.zendrik.ClipmuleSync.Agent.desktop", "NoDisplay"), "true")

    def test_prefixes_of_the_system(self):
        for prefix in ("/usr", "/usr/local", "/usr/local/"):
            with self.subTest(prefix):
                self.install_staged(prefix)
                prefix = prefix.rstrip("/")
                self.assert_names(f"{prefix}/lib/{UNIT}", f"/etc/{AUTOSTART}",
                                  f"{prefix}/share/applications", f"{prefix}/bin/clipmule-sync",
                                  f"{prefix}/bin/clipmule-preferences", "clipmule-sync",
                                  "clipmule-sync")
                self.assertTrue(os.access(f"{self.root}{prefix}/bin/clipmule-sync", os.X_OK))
                self.assertFalse(os.path.exists(f"{self.root}{prefix}/etc"))

    def test_any_other_prefix(self):
        self.install_staged("/opt/clipmule")
        program = "/opt/clipmule/bin/clipmule-sync"
        self.assert_names(f"/opt/clipmule/share/{UNIT}", f"/opt/clipmule/etc/{AUTOSTART}",
                          "/opt/clipmule/share/applications", program,
                          "/opt/clipmule/bin/clipmule-preferences", program, program)
        self.assertEqual(self.value(f"/opt/clipmule/{APPLICATIONS}.desktop", "Desktop Action menu",
                                    "Exec"), program + " --menu")
        self.assertFalse(os.path.exists(self.root + "/etc"))
        self.assertFalse(os.path.exists(self.root + "/opt/clipmule/lib/firewalld"))

    def test_a_prefix_with_unusual_characters(self):
        self.install_staged("/opt/a b/100%")
        program = "/opt/a b/100%/bin/clipmule-sync"
        quoted = '"/opt/a b/100%%/bin/clipmule-sync"'
        self.assert_names(f"/opt/a b/100%/share/{UNIT}", f"/opt/a b/100%/etc/{AUTOSTART}",
                          "/opt/a b/100%/share/applications", quoted,
                          '"/opt/a b/100%/bin/clipmule-preferences"', quoted, program)

    def test_a_prefix_that_no_entry_can_name(self):
        self.assertIn("has a character that start-up files cannot name",
                      install(self.build, '/opt/a"b', self.root))

    def test_without_staging(self):
        """Into a folder of one's own, as README tells, and from there."""
        prefix = os.path.join(self.root, "own")
        self.assertEqual(install(self.build, prefix), "")
        program = os.path.join(prefix, "bin/clipmule-sync")
        self.assertEqual(self.value(f"/own/share/{UNIT}", "Service", "ExecStart"), program + " --login")
        told = run(os.path.join(prefix, "bin/clipmule-preferences"), "--version")
        self.assertEqual((told.returncode, told.stderr), (0, ""))

    def test_what_was_installed_is_removed_again(self):
        mine = os.path.join(self.root, "usr/share/applications/mine.desktop")
        os.makedirs(os.path.dirname(mine))
        with open(mine, "w", encoding="utf-8"):
            pass
        self.install_staged("/usr")
        done = run("cmake", "-P", os.path.join(self.build, "packaging/uninstall.cmake"),
                   env={**os.environ, "DESTDIR": self.root})
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        left = [os.path.join(folder, name) for folder, _, names in os.walk(self.root)
                for name in names]
        self.assertEqual(left, [mine])
        folders = [name for _, names, _ in os.walk(self.root) for name in names]
        self.assertEqual([name for name in folders if "clipmule" in name], [])

    def test_what_lies_in_our_folder_and_is_not_ours_stays(self):
        self.install_staged("/usr")
        mine = os.path.join(self.root, "usr/share/clipmule-sync/help/mine")
        with open(mine, "w", encoding="utf-8"):
            pass
        run("cmake", "-P", os.path.join(self.build, "packaging/uninstall.cmake"), env={**os.environ, "DESTDIR": self.root})
        self.assertTrue(os.path.exists(mine))
        self.assertEqual(os.listdir(os.path.join(self.root, "usr/share/clipmule-sync")), ["help"])


class Installation(unittest.TestCase):
    """The installed tree, once for all tests."""

    @classmethod
    def setUpClass(cls):
        cls.root = tempfile.mkdtemp(prefix="packaging.")
        cls.addClassCleanup(shutil.rmtree, cls.root)
        problems = install(cls.build, "/usr", cls.root)
        if problems:
            raise AssertionError(problems)

    def only(self, path):
        """That installed file."""
        found = os.path.join(self.root, "usr", path)
        self.assertTrue(os.path.isfile(found), path)
        return found

    def entry(self, path, section):
        parser = configparser.ConfigParser(interpolation=None, strict=False)
        parser.optionxform = str
        parser.read(path, encoding="utf-8")
        return parser[section]

    def assert_accepts(self, *command):
        done = run(*command)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_programs_and_their_resources(self):
        for program in PROGRAMS:
            self.assertTrue(os.access(self.only("bin/" + program), os.X_OK), program)
        self.only("share/clipmule-sync/Info.plist")

    def test_no_program_knows_where_it_was_built(self):
        for program in PROGRAMS:
            with open(self.only("bin/" + program), "rb") as file:
                content = file.read()
            # Debug information, which --strip leaves out, names sources; what the program says to
            # itself is in UTF-16.
            self.assertNotIn(os.path.realpath(self.build).encode("utf-16-le"), content, program)

    def test_desktop_entries(self):
        for path in (self.only("share/applications/com.zendrik.ClipmuleSync.desktop"),
                     self.only("share/applications/com.zendrik.ClipmuleSync.Agent.desktop"),
                     self.root + "/etc/" + AUTOSTART):
            self.assert_accepts("desktop-file-validate", path)
            entry = self.entry(path, "Desktop Entry")
            self.only("bin/" + os.path.basename(entry["Exec"].split()[0]))
            self.only(f"share/icons/hicolor/scalable/apps/{entry['Icon']}.svg")
            self.assert_translated(entry)

    def assert_translated(self, entry):
        for key in ("GenericName", "Comment", "Keywords"):
            if key in entry:
                for language in ("de", "ja"):
                    self.assertNotEqual(entry[f"{key}[{language}]"], entry[key])
                if key == "Keywords":
                    self.assertTrue(all(entry[f"{key}{language}"].endswith(";")
                                        for language in ("", "[de]", "[ja]")))

    def test_the_preferences_are_started_by_the_bus(self):
        name = "com.zendrik.ClipmuleSync.Preferences"
        path = self.only(f"share/applications/{name}.desktop")
        self.assert_accepts("desktop-file-validate", path)
        entry = self.entry(path, "Desktop Entry")
        self.assertEqual(entry["DBusActivatable"], "true")
        # The class by which a desktop knows the window on X11 is the program's name.
        self.assertEqual(entry["StartupWMClass"], entry["Exec"])
        self.only("bin/" + entry["Exec"])
        self.assert_translated(entry)
        service = self.entry(self.only(f"share/dbus-1/services/{name}.service"), "D-BUS Service")
        self.assertEqual(service["Name"], name)

    def test_the_status_interface_is_described(self):
        path = self.only("share/dbus-1/interfaces/com.zendrik.ClipmuleSync.Status.xml")
        self.assertEqual(xml.parse(path).getroot().find("interface").get("name"),
                         "com.zendrik.ClipmuleSync.Status")

    def test_software_centre(self):
        path = self.only("share/metainfo/com.zendrik.ClipmuleSync.metainfo.xml")
        self.assert_accepts("appstreamcli", "validate", "--no-net", path)
        component = xml.parse(path).getroot()
        self.only("share/applications/" + component.findtext("launchable"))
        told = run(self.only("bin/clipmule-sync"), "--version").stdout.split()[-1]
        self.assertEqual(component.find("releases/release").get("version"), told)
        self.assertEqual({binary.text for binary in component.iter("binary")}, PROGRAMS)

    def test_pictures_of_the_software_centre(self):
        """Each is a file of the repository, wide enough to be shown, and its caption is in every language."""
        component = xml.parse(self.only("share/metainfo/com.zendrik.ClipmuleSync.metainfo.xml")).getroot()
        shots = component.findall("screenshots/screenshot")
        self.assertEqual([shot.get("type") for shot in shots], ["default", None, None])
        language = "{http://www.w3.org/XML/1998/namespace}lang"
        for shot in shots:
            self.assertEqual({caption.get(language): bool(caption.text) for caption in shot.findall("caption")},
                             {None: True, "de": True, "ja": True})
            address, picture = shot.findtext("image").rsplit("/", 1)
            self.assertEqual(address, "https://clipmule-sync.invalid/pictures")
            self.assertGreaterEqual(picture_size(os.path.join(SOURCES, "docs/pictures", picture))[0], 620)

    def test_login_unit(self):
        path = self.only("lib/" + UNIT)
        service = self.entry(path, "Service")
        self.assertEqual(service["Restart"], "on-failure")
        self.assertEqual((service["Type"], service["BusName"]), ("dbus", "com.zendrik.ClipmuleSync"))
        with open(path, encoding="utf-8") as file:
            lines = file.read().splitlines()
        for variable in ("DISPLAY", "WAYLAND_DISPLAY"):
            self.assertIn(f"ConditionEnvironment=|{variable}", lines)

    def test_what_a_firewall_lets_in(self):
        """By the numbers that the sources have."""
        with open(os.path.join(SOURCES, "web/main.cpp"), encoding="utf-8") as file:
            page = re.search(r"usualPort = ([0-9]+);", file.read())[1]
        for name, ports in (("clipmule-sync", [("udp", "5353")]), ("clipmule-web", [("tcp", page)])):
            service = xml.parse(self.only(f"lib/firewalld/services/{name}.xml")).getroot()
            self.assertEqual(service.tag, "service")
            self.assertEqual([(port.get("protocol"), port.get("port")) for port in service.iter("port")], ports)
            parser = configparser.ConfigParser(interpolation=None)
            parser.read(f"{self.root}/etc/ufw/applications.d/{name}", encoding="utf-8")
            (section,) = parser.sections()
            self.assertEqual(parser[section]["ports"], "/".join(reversed(ports[0])))
            self.assertTrue(parser[section]["title"] and parser[section]["description"])

    def test_unit_of_the_page(self):
        path = self.only("lib/systemd/user/clipmule-web.service")
        with open(path, encoding="utf-8") as file:
            lines = file.read().splitlines()
        self.assertIn("ExecStart=/usr/bin/clipmule-web", lines)
        # The code is for who looks at the screen, not for the journal.
        self.assertIn("StandardOutput=null", lines)
        for restriction in ("NoNewPrivileges=yes", "UMask=0077", "ProtectSystem=full", "MemoryDenyWriteExecute=yes",
                            "RestrictAddressFamilies=AF_UNIX AF_INET AF_INET6 AF_NETLINK",
                            "SystemCallFilter=@system-service"):
            self.assertIn(restriction, lines)

    def test_icons_are_pictures(self):
        for name in ("scalable/apps/com.zendrik.ClipmuleSync.svg",
                     "symbolic/apps/com.zendrik.ClipmuleSync-symbolic.svg"):
            root = xml.parse(self.only("share/icons/hicolor/" + name)).getroot()
            self.assertTrue(root.tag.endswith("}svg"))
            self.assertEqual(root.get("width"), root.get("height"))
        for size in (16, 22, 24, 32, 48, 64, 128, 256):
            path = self.only(f"share/icons/hicolor/{size}x{size}/apps/com.zendrik.ClipmuleSync.png")
            self.assertEqual(picture_size(path), (size, size))

    def test_manual_pages_are_well_formed(self):
        for program in PROGRAMS:
            self.assert_accepts("groff", "-man", "-ww", "-z", "-Tutf8", "-K", "utf8",
                                self.only(f"share/man/man1/{program}.1"))
            with open(self.only(f"share/man/man1/{program}.1"), encoding="utf-8") as page:
                self.assertRegex(page.read(), r'(?m)^\.TH \S+ 1 [0-9]{4}-[0-9]{2}-[0-9]{2} "')
            for language in ("de", "ja"):
                self.only(f"share/man/{language}/man1/{program}.1")

    def test_manual_pages_and_help_tell_of_the_same_options(self):
        for program in PROGRAMS:
            with self.subTest(program):
                told = run(self.only("bin/" + program), "--help",
                           env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
                self.assertEqual(told.returncode, 0, told.stderr)
                with open(self.only(f"share/man/man1/{program}.1"), encoding="utf-8") as page:
                    documented = options(page.read().replace("\\-", "-"))
                self.assertEqual(options(told.stdout), documented)


class TranslatedPages(unittest.TestCase):
    """Manual pages in other languages, beside the English one: what is said where, and of what."""

    def page(self, name, language=""):
        with open(os.path.join(SOURCES, "packaging/man", language, name + ".1"), encoding="utf-8") as file:
            return file.read()

    def parts(self, text):
        """Sections and paragraphs in order, each with the options, files and words to type that it names."""
        found = []
        for part in re.split(r"^(?=\.(?:SH|TP|PP)\b)", text.replace("\\-", "-"), flags=re.MULTILINE)[1:]:
            named = options(part) | set(re.findall(r"[A-Z]+(?:_[A-Z]+)+|SIG(?:TERM|INT)|~?/[a-z.]+|\b[0-9]\b", part))
            # In bold or italics; what has a blank at both ends stands between them.
            for line in re.findall(r"^\.[BIR]{1,2} (.*)", part, re.MULTILINE):
                for words in re.findall(r'"([^"]*)"|([^" ]+)', line):
                    if not re.fullmatch(r" .* ", words[0]):
                        named |= set(re.findall(r"(?<![\w\\])[a-z]+(?:[-/][a-zA-Z/]+)*(?!\w)", "".join(words)))
            found.append((part[1:3], sorted(named)))
        return found

    def test_they_say_the_same_as_the_english_ones(self):
        for language in ("de", "ja"):
            for name in PROGRAMS:
                with self.subTest(f"{language} {name}"):
                    text, english = self.page(name, language), self.page(name)
                    self.assertEqual(self.parts(text), self.parts(english))
                    date = r"(?m)^\.TH (\S+) 1 (\S+) "
                    self.assertEqual(re.search(date, text).groups(), re.search(date, english).groups())

    def test_they_are_in_the_packages_of_the_english_ones(self):
        packaged = []
        for path in glob.glob(os.path.join(SOURCES, "debian/*.install")):
            with open(path, encoding="utf-8") as file:
                paths = file.read().split()
            english = [each for each in paths if each.startswith("usr/share/man/man1/")]
            self.assertLessEqual({each.replace("/man/", "/man/*/") for each in english}, set(paths), path)
            packaged += [os.path.basename(each) for each in english]
        self.assertEqual(sorted(packaged), sorted(name + ".1" for name in PROGRAMS))

    def test_they_are_well_formed(self):
        for language in ("de", "ja"):
            for name in PROGRAMS:
                # Japanese has its own rules where a line may break, and lines of which nothing can be spread.
                done = run("groff", "-man", f"-m{language}", "-ww", "-Wbreak", "-z", "-Tutf8", "-K", "utf8",
                           os.path.join(SOURCES, "packaging/man", language, name + ".1"))
                self.assertEqual((done.returncode, done.stderr), (0, ""))


class InstallPreset(unittest.TestCase):
    """The flags of the preset "install", on a small program."""

    PROGRAM = """#include <cstdio>
    #include <cstring>
    int main(int, char **arguments)
    {
        char copy[16];
        std::strcpy(copy, arguments[0]);
        std::puts(copy);
        std::puts(__FILE__);
    }
    """

    def test_programs_are_hardened_and_do_not_name_their_sources(self):
        with open(os.path.join(SOURCES, "CMakePresets.json"), encoding="utf-8") as file:
            presets = json.load(file)["configurePresets"]
        values = next(each for each in presets if each["name"] == "install")["cacheVariables"]
        self.assertEqual(values["BUILD_TESTING"], "OFF")
        with tempfile.TemporaryDirectory() as folder:
            source, program = os.path.join(folder, "small.cpp"), os.path.join(folder, "small")
            with open(source, "w", encoding="utf-8") as file:
                file.write(self.PROGRAM)
            flags = values["CMAKE_CXX_FLAGS_RELEASE"].replace("${sourceDir}", folder).split()
            linking = values["CMAKE_EXE_LINKER_FLAGS"].split()
            built = run("g++", *flags, source, "-o", program, *linking)
            self.assertEqual((built.returncode, built.stderr), (0, ""))
            told = run("readelf", "--wide", "--file-header", "--dynamic", "--dyn-syms",
                       program).stdout
            with open(program, "rb") as file:
                self.assertNotIn(os.fsencode(folder), file.read())
        for sign in ("Position-Independent Executable", "NOW", "__stack_chk_fail", "__strcpy_chk"):
            self.assertIn(sign, told)


class Readme(unittest.TestCase):
    """README's lists, which age unseen."""

    @classmethod
    def setUpClass(cls):
        with open(README, encoding="utf-8") as file:
            # Without what stands between two fences.
            cls.text = re.sub(r"^```.*?^```", "", file.read(), flags=re.MULTILINE | re.DOTALL)
        cls.programs = os.path.join(cls.build, "bin")

    def test_every_command_is_listed(self):
        told = run(os.path.join(self.programs, "clipmule-preferences"), "--help")
        # "  enable, disable    what they do"
        commands = {word for line in re.findall(r"^  ([a-z]+(?:, [a-z]+)*) ", told.stdout,
                                                re.MULTILINE) for word in line.split(", ")}
        self.assertLessEqual({"discover", "doctor", "enable", "disable"}, commands)
        listed = {word for quoted in re.findall(r"`([^`\n]+)`", self.text)
                  for word in quoted.removeprefix("clipmule-preferences ").split()[:1]}
        self.assertLessEqual(commands, listed)

    @unittest.skipUnless(shutil.which("dpkg-query") and os.path.exists("/etc/debian_version"),
                         "names of Debian's packages")
    def test_every_library_is_in_the_list_of_packages(self):
        row = next(line for line in self.text.splitlines() if line.startswith("| Debian"))
        to_run = set(re.findall(r"`([^`]+)`", row)[1].split())
        # Whatever was compiled needs these, and Qt's widgets bring their foundations along.
        to_run |= {"libc6", "libstdc++6", "libgcc-s1", "libqt6core6", "libqt6gui6"}
        needed = set()
        for program in PROGRAMS:
            told = run("objdump", "-p", os.path.join(self.programs, program))
            self.assertEqual((told.returncode, told.stderr), (0, ""))
            needed |= {line.split()[-1] for line in told.stdout.splitlines()
                       if "NEEDED" in line and "ld-linux" not in line}
        for library in sorted(needed):
            owners = run("dpkg-query", "--search", "*/" + library).stdout.splitlines()
            # Debian renamed many when time took 64 bits everywhere.
            packages = {line.split(":")[0].removesuffix("t64") for line in owners}
            self.assertTrue(packages & to_run, f"{library}: {packages}")


def picture_size(path):
    with open(path, "rb") as file:
        head = file.read(24)
    if head[:8] != b"\x89PNG\r\n\x1a\n":
        raise AssertionError(f"{path} is no PNG")
    return struct.unpack(">II", head[16:])


def options(text):
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


if __name__ == "__main__":
    Installation.build = Prefixes.build = Readme.build = sys.argv.pop(1)
    unittest.main()
