# SPDX-License-Identifier: MIT

"""The manual pages and what the programs say of themselves name the same options and commands."""

import os
import pathlib
import re
import unittest

from support.helps import OPTION, commands, declared, help_of, section

PAGES = pathlib.Path(os.environ["APPLIST_SOURCES"]) / "docs" / "man"
PROGRAMS = {"applistd.8.scd": os.environ["APPLISTD"], "applistctl.1.scd": os.environ["APPLISTCTL"]}


def page(name):
    return (PAGES / name).read_text(encoding="utf-8")


def bold(text):
    """Everything in bold, which is how a page names what is typed."""
    return re.findall(r"\*([^*\n]+)\*", text.replace("\\*", ""))


class TheManualPages(unittest.TestCase):
    def options(self, name):
        """The options of a program: its own, and those of its commands."""
        program = PROGRAMS[name]
        text = help_of(program)
        texts = [text, *(help_of(program, command) for command in commands(text))]
        return {option for each in texts for option in declared(each)}

    def test_name_every_option_that_the_help_names(self):
        for name in PROGRAMS:
            with self.subTest(name):
                self.assertGreater(len(self.options(name)), 8)
                self.assertEqual(sorted(self.options(name) - set(bold(page(name)))), [])

    def test_name_no_option_that_the_help_does_not_name(self):
        for name in PROGRAMS:
            with self.subTest(name):
                said = {word for word in bold(page(name)) if OPTION.fullmatch(word)}
                self.assertEqual(sorted(said - self.options(name)), [])

    def test_name_every_command_of_applistctl(self):
        known = commands(help_of(PROGRAMS["applistctl.1.scd"]))
        self.assertGreater(len(known), 8)
        described = section(page("applistctl.1.scd"), "# COMMANDS", "# OPTIONS")
        heads = re.findall(r"^\*([a-z]+)\*", described, re.M)
        self.assertEqual(sorted(heads), sorted([*known, "help"]))

    def test_show_the_default_of_every_limit(self):
        limits = re.findall(r"(--max-[a-z-]+) N\s.*\((\w+)\)$", help_of(PROGRAMS["applistd.8.scd"]),
                            re.M)
        self.assertGreater(len(limits), 5)
        for option, default in limits:
            with self.subTest(option):
                described = section(page("applistd.8.scd"), f"*{option}* _N_", "")
                self.assertIn(f"{default} by default", described)

    def test_show_every_exit_status(self):
        for name, program in PROGRAMS.items():
            with self.subTest(name):
                said = help_of(program).partition("Exit status:")[2]
                statuses = re.findall(r"(?:^|[,;])\s(\d+) [a-z]", said)
                self.assertGreater(len(statuses), 2)
                described = page(name).partition("# EXIT STATUS\n")[2].partition("\n# ")[0]
                self.assertEqual(re.findall(r"^\*(\d+)\*$", described, re.M), statuses)


if __name__ == "__main__":
    unittest.main()
