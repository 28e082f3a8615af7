# SPDX-License-Identifier: MIT

"""A picture is what the program beside it draws, and a browser can read it."""

import os
import pathlib
import subprocess
import sys
import unittest
import xml.etree.ElementTree

IMAGES = pathlib.Path(os.environ["APPLIST_SOURCES"]) / "docs" / "images"


class ThePictures(unittest.TestCase):
    def setUp(self):
        self.pictures = sorted(IMAGES.glob("*.svg"))
        self.assertNotEqual(self.pictures, [])

    def test_are_what_is_drawn(self):
        for picture in self.pictures:
            drawn = subprocess.run([sys.executable, picture.with_suffix(".py")], check=True,
                                   capture_output=True, text=True, timeout=60).stdout
            self.assertEqual(picture.read_text(encoding="utf-8"), drawn, picture.name)

    def test_are_well_formed_and_load_nothing(self):
        for picture in self.pictures:
            root = xml.etree.ElementTree.parse(picture).getroot()
            self.assertEqual(root.tag, "{http://www.w3.org/2000/svg}svg")
            addresses = [value for element in root.iter() for value in element.attrib.values()
                         if "//" in value]
            self.assertEqual(addresses, [])

    def test_have_colours_for_a_dark_page(self):
        for picture in self.pictures:
            self.assertIn("@media (prefers-color-scheme: dark)",
                          picture.read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main()
