# SPDX-License-Identifier: MIT

"""Each source file names its licence in its first lines, where tools look for it."""

import os
import pathlib
import tempfile
import unittest

ROOT = pathlib.Path(os.environ["APPLIST_SOURCES"])
LINE = "SPDX-License-Identifier: MIT"
SUFFIXES = {".bash", ".bb", ".cmake", ".cpp", ".fish", ".h", ".py", ".qml", ".sh", ".spec"}
# What is made here, and inputs whose every byte counts.
LEFT = {".git", "build", "corpus"}


def is_source(path):
    if path.suffix in SUFFIXES or path.name == "CMakeLists.txt":
        return True
    if path.parent.parent.name == "completions":  # each shell has its own way to name them
        return True
    with open(path, "rb") as file:
        return file.read(2) == b"#!"


def sources(root):
    for folder, folders, files in os.walk(root):
        folders[:] = [each for each in folders if each not in LEFT]
        for each in files:
            path = pathlib.Path(folder) / each
            if path.is_file() and is_source(path):
                yield path


def without_line(root):
    """The sources that do not have it in their first line, or in the second after a line that says
    what they are for."""
    found = []
    for path in sources(root):
        lines = path.read_text(encoding="utf-8").splitlines()[:2]
        first = lines[1:] if lines and lines[0].startswith(("#!", "#compdef")) else lines[:1]
        if first not in (["// " + LINE], ["# " + LINE]):
            found.append(str(path.relative_to(root)))
    return sorted(found)


class TheSources(unittest.TestCase):
    def test_are_found(self):
        self.assertGreater(len(list(sources(ROOT))), 300)
        self.assertIn(ROOT / "dev", list(sources(ROOT)))

    def test_name_their_licence(self):
        self.assertEqual(without_line(ROOT), [])


class TheCheckOfALicence(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def found(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return without_line(self.root)

    def test_accepts_the_line_of_every_language(self):
        self.assertEqual(self.found("a.cpp", f"// {LINE}\n\nint a;\n"), [])
        self.assertEqual(self.found("a.py", f"# {LINE}\n"), [])
        self.assertEqual(self.found("run", f"#!/bin/sh\n# {LINE}\n"), [])

    def test_reports_a_source_without_it(self):
        for name in ("a.cpp", "a.h", "a.py", "a.sh", "CMakeLists.txt"):
            with self.subTest(name):
                self.assertIn(name, self.found(name, "\n"))

    def test_reports_a_script_that_has_no_suffix(self):
        self.assertEqual(self.found("run", "#!/bin/sh\ntrue\n"), ["run"])

    def test_reports_a_line_that_stands_too_low(self):
        self.assertEqual(self.found("a.cpp", f"int a;\n// {LINE}\n"), ["a.cpp"])

    def test_reports_another_licence(self):
        self.assertEqual(self.found("a.cpp", "// SPDX-License-Identifier: MIT-0\n"), ["a.cpp"])

    def test_looks_at_completions_whatever_their_name(self):
        self.assertEqual(self.found("a/completions/zsh/_a", f"#compdef a\n# {LINE}\n"), [])
        self.assertEqual(self.found("a/completions/bash/a", "complete a\n"),
                         ["a/completions/bash/a"])

    def test_leaves_inputs_and_other_texts_alone(self):
        self.assertEqual(self.found("corpus/a.cpp", "int a;\n"), [])
        self.assertEqual(self.found("notes.md", "notes\n"), [])


if __name__ == "__main__":
    unittest.main()
