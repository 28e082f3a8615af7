# SPDX-License-Identifier: MIT

"""A reader of docs/protocol.md types its programs in as they stand."""

import pathlib
import os
import re
import unittest

from example_case import ExampleTest

ROOT = pathlib.Path(os.environ["APPLIST_SOURCES"])
PROTOCOL = (ROOT / "docs" / "protocol.md").read_text(encoding="utf-8")


def blocks(language):
    found = re.findall(rf"^```{language}\n(.*?)^```$", PROTOCOL, re.M | re.S)
    assert found, f"the protocol shows nothing in {language}"
    return found


class TheProtocolsDescription(ExampleTest):
    def test_shows_a_partner_in_python_that_adds_an_item_and_lists_all(self):
        self.publish()
        partner, _ = blocks("python")
        self.assertLessEqual(len(partner.splitlines()), 6)
        out, _ = self.run_to_end("/usr/bin/python3", "-c", partner)
        self.assertEqual(out, "Maps\tmaps\nMusic\tmusic\nPhone\tphone\nRadio\tradio\n")
        self.assertEqual(self.partner().all_items()[3:], [("Radio", "radio")])

    def test_shows_a_partner_in_python_that_lists_all_over_a_channel(self):
        self.publish()
        _, partner = blocks("python")
        out, _ = self.run_to_end("/usr/bin/python3", "-c", partner)
        self.assertEqual(out, "Maps\tmaps\nMusic\tmusic\nPhone\tphone\n")

    def test_shows_commands_and_what_they_answer(self):
        self.publish()
        (session,) = blocks("console")
        commands = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", session, re.M)
        self.assertGreater(len(commands), 2)
        for command, answer in commands:
            with self.subTest(command):
                out, _ = self.run_to_end("bash", "-c", command)
                self.assertEqual(out, answer)


if __name__ == "__main__":
    unittest.main()
