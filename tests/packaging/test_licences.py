#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The Clipmule Sync developers
# SPDX-License-Identifier: MIT
"""That every file says under which licence it is, and that the list of what packages are made of is right."""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


class Licences(unittest.TestCase):
    @unittest.skipUnless(shutil.which("reuse"), "reuse is not installed")
    def test_every_file_has_one(self):
        done = subprocess.run(["reuse", "--root", ROOT, "lint"], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_the_licence_is_the_same_everywhere(self):
        def words(path):
            text = (ROOT / path).read_text(encoding="utf-8")
            return re.sub(r"\n \.?", "\n", text[text.index("Permission is hereby"):]).split()
        for path in ("LICENSES/MIT.txt", "debian/copyright"):
            self.assertEqual(words(path), words("LICENSE"), path)


@unittest.skipUnless(shutil.which("dpkg-deb"), "dpkg-deb is not installed")
class BillOfMaterials(unittest.TestCase):
    """Of a small package that depends on what is installed on every Debian."""

    def test_a_library_whose_licence_the_binary_has(self):
        packages = {}
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            # Its name in two versions of Debian.
            for package, library in (("plain", "libedit2"), ("one", "libreadline8 (>= 7.0)"), ("two", "libreadline8t64")):
                (folder / package / "DEBIAN").mkdir(parents=True)
                (folder / package / "DEBIAN/control").write_text(
                    f"Package: {package}\nVersion: 1\nArchitecture: all\nMaintainer: A <a@example.org>\n"
                    f"Depends: {library}\nDescription: {package}\n")
                subprocess.run(["dpkg-deb", "--build", folder / package, folder / f"{package}.deb"], check=True,
                               capture_output=True)
            done = subprocess.run([ROOT / "scripts/sbom", *sorted(folder.glob("*.deb"))], capture_output=True, text=True,
                                  check=True)
            packages = {each["name"]: each for each in json.loads(done.stdout)["packages"]}
        self.assertEqual({packages[name]["licenseDeclared"] for name in ("plain", "one", "two")}, {"MIT"})
        self.assertEqual((packages["plain"]["licenseConcluded"], "licenseComments" in packages["plain"]),
                         ("NOASSERTION", False))
        for name, library in (("one", "libreadline8"), ("two", "libreadline8t64")):
            self.assertEqual(packages[name]["licenseConcluded"], "MIT AND GPL-3.0-or-later")
            self.assertIn(library, packages[name]["licenseComments"])

    def test_it_names_the_package_and_what_it_depends_on(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "tree/DEBIAN").mkdir(parents=True)
            (folder / "tree/DEBIAN/control").write_text(
                "Package: small\nVersion: 1.2.3\nArchitecture: all\nMaintainer: A <a@example.org>\n"
                "Depends: libc6 (>= 2.36), default-none | dpkg, no-such-package\n"
                "Static-Built-Using: inside (= 1:2.3-4), \nDescription: small\n")
            subprocess.run(["dpkg-deb", "--build", folder / "tree", folder / "small.deb"], check=True,
                           capture_output=True)
            done = subprocess.run([ROOT / "scripts/sbom", folder / "small.deb"], capture_output=True, text=True,
                                  check=True, env={"PATH": "/usr/bin:/bin", "SOURCE_DATE_EPOCH": "86400"})
            again = subprocess.run([ROOT / "scripts/sbom", folder / "small.deb"], capture_output=True, text=True,
                                   check=True, env={"PATH": "/usr/bin:/bin", "SOURCE_DATE_EPOCH": "86400"})
            digest = subprocess.run(["sha256sum", folder / "small.deb"], capture_output=True, text=True,
                                    check=True).stdout.split()[0]
        self.assertEqual(done.stdout, again.stdout)
        bill = json.loads(done.stdout)
        self.assertEqual((bill["spdxVersion"], bill["creationInfo"]["created"]), ("SPDX-2.3", "1970-01-02T00:00:00Z"))
        packages = {each["name"]: each for each in bill["packages"]}
        self.assertEqual(set(packages), {"small", "libc6", "dpkg", "no-such-package", "inside"})
        self.assertEqual(packages["small"]["versionInfo"], "1.2.3")
        self.assertEqual(packages["small"]["checksums"], [{"algorithm": "SHA256", "checksumValue": digest}])
        self.assertRegex(packages["libc6"]["versionInfo"], r"^[0-9]+\.")
        self.assertNotIn("versionInfo", packages["no-such-package"])
        self.assertEqual(packages["inside"]["versionInfo"], "1:2.3-4")
        small = packages["small"]["SPDXID"]
        self.assertEqual({(each["spdxElementId"], each["relationshipType"], each["relatedSpdxElement"])
                          for each in bill["relationships"]},
                         {("SPDXRef-DOCUMENT", "DESCRIBES", small), (small, "CONTAINS", packages["inside"]["SPDXID"])} |
                         {(small, "DEPENDS_ON", packages[name]["SPDXID"])
                          for name in ("libc6", "dpkg", "no-such-package")})
        # Every element has an id of the characters that are allowed.
        for each in bill["packages"]:
            self.assertRegex(each["SPDXID"], r"^SPDXRef-[A-Za-z0-9.-]+$")


if __name__ == "__main__":
    sys.dont_write_bytecode = True
    unittest.main()
