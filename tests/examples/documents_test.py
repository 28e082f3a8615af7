# SPDX-License-Identifier: MIT

"""What the documents show is what the repository holds.

A block of C++ or CMake is marked with the file that it is from, in the line before it, and stands
in that file line for line: <!-- from examples/publish.cpp -->. A relative link leads to a file.
"""

import os
import pathlib
import re
import tempfile
import unittest

from blocks import FENCE, origin

ROOT = pathlib.Path(os.environ["APPLIST_SOURCES"])

LINK = re.compile(r"\]\((?P<target>[^)#\s]+)[^)]*\)")


def documents(root):
    return [*sorted(root.glob("*.md")), *sorted((root / "docs").glob("*.md"))]


def snippet_problems(text, root):
    """What is wrong with the marked blocks of a document, one line each."""
    problems = []
    for block in FENCE.finditer(text):
        if block["language"] not in ("cpp", "cmake"):
            continue
        first = block["text"].partition("\n")[0]
        file = origin(block)
        if file is None:
            problems.append(f"the block {first!r} does not say which file it is from")
        elif not (root / file).is_file():
            problems.append(f"the block {first!r} is from {file}, which is not there")
        elif "\n" + block["text"] not in "\n" + (root / file).read_text(encoding="utf-8"):
            problems.append(f"the block {first!r} is not what stands in {file}")
    return problems


def link_problems(text, folder):
    targets = [link["target"] for link in LINK.finditer(FENCE.sub("", text))]
    return [f"the link {target} leads nowhere" for target in targets
            if "://" not in target and not (folder / target).exists()]


class TheDocuments(unittest.TestCase):
    def test_show_code_that_stands_in_the_repository(self):
        for document in documents(ROOT):
            with self.subTest(document.name):
                text = document.read_text(encoding="utf-8")
                self.assertEqual(snippet_problems(text, ROOT), [])

    def test_link_to_files_that_exist(self):
        for document in documents(ROOT):
            with self.subTest(document.name):
                text = document.read_text(encoding="utf-8")
                self.assertEqual(link_problems(text, document.parent), [])

    def test_name_the_same_tests_for_the_promises_in_short_and_in_full(self):
        def tests_of(document):
            table = (ROOT / document).read_text(encoding="utf-8").partition("| promise |")[2]
            targets = LINK.findall(table.partition("\n\n")[0])
            return {target.removeprefix("../") for target in targets
                    if not target.endswith(".md")}

        self.assertGreater(len(tests_of("README.md")), 30)
        self.assertEqual(tests_of("README.md"), tests_of("docs/promises.md"))

    def test_show_code_and_links_at_all(self):
        text = (ROOT / "README.md").read_text(encoding="utf-8")
        self.assertGreaterEqual(len(re.findall("^```cpp$", text, re.M)), 2)
        self.assertGreater(len(LINK.findall(text)), 5)


class TheCheckOfADocument(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        (self.root / "a.cpp").write_text("int a;\nint b;\nint c;\n", encoding="utf-8")

    def problems(self, text):
        return snippet_problems(text, self.root)

    def test_accepts_lines_of_the_file(self):
        self.assertEqual(self.problems("<!-- from a.cpp -->\n```cpp\nint b;\nint c;\n```\n"), [])

    def test_reports_a_block_that_differs(self):
        self.assertEqual(len(self.problems("<!-- from a.cpp -->\n```cpp\nint d;\n```\n")), 1)

    def test_reports_a_block_with_a_gap(self):
        self.assertEqual(len(self.problems("<!-- from a.cpp -->\n```cpp\nint a;\nint c;\n```\n")),
                         1)

    def test_reports_half_a_line(self):
        self.assertEqual(len(self.problems("<!-- from a.cpp -->\n```cpp\nb;\n```\n")), 1)

    def test_reports_a_block_without_a_mark(self):
        self.assertEqual(len(self.problems("Text.\n```cpp\nint a;\n```\n")), 1)
        self.assertEqual(len(self.problems("```cpp\nint a;\n```\n")), 1)

    def test_reports_a_file_that_is_not_there(self):
        self.assertEqual(len(self.problems("<!-- from b.cpp -->\n```cpp\nint a;\n```\n")), 1)

    def test_looks_at_every_block(self):
        text = "```sh\nls\n```\n\n```cpp\nint a;\n```\n\n```cpp\nint b;\n```\n"
        self.assertEqual(len(self.problems(text)), 2)

    def test_reports_a_link_that_leads_nowhere(self):
        self.assertEqual(link_problems("[a](a.cpp), [b](a.cpp#x), [c](https://a.org)", self.root),
                         [])
        self.assertEqual(len(link_problems("[b](b.cpp)", self.root)), 1)


if __name__ == "__main__":
    unittest.main()
