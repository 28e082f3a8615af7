# SPDX-License-Identifier: MIT

"""One version, and one licence, in every file that has to name it."""

import hashlib
import os
import pathlib
import re
import unittest

ROOT = pathlib.Path(os.environ["APPLIST_SOURCES"])
YOCTO = ROOT / "packaging" / "yocto"


def text(name):
    return (ROOT / name).read_text(encoding="utf-8")


def first(pattern, name):
    """Returns what the group of the pattern's first match in a file is."""
    found = re.search(pattern, text(name), re.M)
    if found is None:
        raise AssertionError(f"{name} names no version")
    return found[1]


class TheVersion(unittest.TestCase):
    def setUp(self):
        self.version = first(r'^#define APPLIST_VERSION "(\S+)"$', "src/applist/version.h")

    def test_is_that_of_the_debian_packages(self):
        self.assertEqual(first(r"^applist \((\S+)\) ", "packaging/debian/changelog"), self.version)

    def test_is_that_of_the_rpm_packages(self):
        self.assertEqual(first(r"^Version: +(\S+)$", "packaging/rpm/applist.spec"), self.version)
        self.assertEqual(first(r"^%changelog\n\*.* - (\S+)-\d+$", "packaging/rpm/applist.spec"),
                         self.version)

    def test_is_that_of_the_yocto_recipe(self):
        self.assertEqual([each.name for each in YOCTO.glob("*.bb")], [f"applist_{self.version}.bb"])

    def test_is_the_latest_one_in_the_changelog(self):
        self.assertEqual(first(r"^## \[(\d\S*)\] - \d{4}-\d\d-\d\d$", "CHANGELOG.md"), self.version)


class TheLicence(unittest.TestCase):
    def test_is_the_one_that_the_yocto_recipe_was_written_for(self):
        recipe = next(YOCTO.glob("*.bb")).relative_to(ROOT)
        expected = hashlib.md5((ROOT / "LICENSE").read_bytes()).hexdigest()
        self.assertEqual(first(r"^LIC_FILES_CHKSUM = \"file://LICENSE;md5=(\w+)\"$", recipe), expected)

    def test_is_the_one_in_the_debian_packages(self):
        def words(paragraphs):
            return paragraphs.replace("\n .\n", "\n\n").split()

        debian = text("packaging/debian/copyright").rpartition("License: Expat\n")[2]
        ours = text("LICENSE").partition("Permission is")
        self.assertEqual(words(debian), words(ours[1] + ours[2]))


if __name__ == "__main__":
    unittest.main()
