# SPDX-License-Identifier: MIT

"""What TAB does in bash, zsh and fish: on a real list, whose ids are as bad as ids may be."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

from shells import Bash, Fish, Person, Zsh
from support import items
from support.case import AppTest
from support.helps import commands, declared, help_of
from support.partner import Partner
from support.processes import DEADLINE, Applistd, Bus

APPLISTCTL = os.environ["APPLISTCTL"]
APPLISTD = os.environ["APPLISTD"]
SOURCES = pathlib.Path(os.environ["APPLIST_SOURCES"])

# What is typed before the TAB, and the id that is meant. The canary is a file that is to be born
# when any of this is evaluated.
IDS = {
    "pla": "plain",
    "two": "two words",
    "it": "it's \"quoted\"",
    "cm": "cmd$(touch canary)`touch canary`",
    "sem": "semi; touch canary &",
    "ne": "new\nline",
    "co": "colon:and=equals@at",
    "back": "back\\slash\\n\\\\",
    "bang": "bang!1 !! !$",
    "st": "star*?[a-z]{a,b}~",
    "\\~": "~/home",
    "\\#": "#hash",
    "um": "umläut€",
    "esc": "esc\x1b[2J\x07",
    "-- -d": "-dash --help",
}
TAB = ("ta", "tab\tid")


class CompletionTest(AppTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory(prefix="completions-")
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.home = self.root / "home"
        self.home.mkdir()
        prefix = self.root / "prefix"
        installed = [os.environ["APPLIST_CMAKE"], f"-DCMAKE_INSTALL_PREFIX={prefix}", "-P",
                     os.environ["APPLIST_COMPLETIONS"] + "/cmake_install.cmake"]
        subprocess.run(installed, check=True, capture_output=True)
        folders = {os.path.dirname(program) for program in (APPLISTCTL, APPLISTD)}
        variables = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=self.bus.address, LC_ALL="C.UTF-8",
                         PATH=":".join([*folders, os.environ["PATH"]]))
        self.shell = self.SHELL(str(prefix), str(self.home), variables)
        self.addCleanup(self.shell.close)

    def serve(self, *ids):
        """Publishes items of these ids, the first of which is selected."""
        self.start("--items", self.file("Nothing\tnothing\n" + "".join(
            items.item("Name of " + each, each).decode() for each in ids)))
        return self.partner()


class Completing:
    """What holds in every shell."""

    def offered_options(self, line):
        return self.shell.offered(line + " -") | self.shell.offered(line + " --")

    def test_offers_the_commands_that_the_help_names(self):
        known = commands(help_of(APPLISTCTL))
        self.assertEqual(sorted(self.shell.offered("applistctl ")), sorted([*known, "help"]))
        self.assertEqual(sorted(self.shell.offered("applistctl help ")), sorted(known))

    def test_offers_the_options_that_the_help_names(self):
        common = declared(help_of(APPLISTCTL))
        self.assertEqual(sorted(self.offered_options("applistctl")), sorted(common))
        for command in commands(help_of(APPLISTCTL)):
            with self.subTest(command):
                expected = common | declared(help_of(APPLISTCTL, command))
                self.assertEqual(sorted(self.offered_options("applistctl " + command)),
                                 sorted(expected))

    def test_offers_the_options_of_applistd_that_the_help_names(self):
        expected = declared(help_of(APPLISTD))
        self.assertGreater(len(expected), 10)
        self.assertEqual(sorted(self.offered_options("applistd")), sorted(expected))

    def test_offers_the_functions_that_can_be_called(self):
        sources = "".join(each.read_text(encoding="utf-8")
                          for each in (SOURCES / "apps/applistctl").glob("*.cpp"))
        known = re.findall(r'\{"(\w+)", APPLIST_\w+_FNC\b', sources)
        self.assertGreater(len(known), 8)
        self.assertEqual(sorted(self.shell.offered("applistctl call ")), sorted(known))

    def test_offers_the_styles_of_json(self):
        offered = {each.removeprefix("--json=") for each in self.shell.offered("applistctl --json=")}
        self.assertEqual(offered, {"short", "pretty"})

    def test_offers_no_id_where_none_belongs(self):
        self.serve("plain")
        for line in ("list ", "add ", "select plain ", "replace plain ", "--timeout "):
            with self.subTest(line):
                self.assertNotIn("plain", self.shell.offered("applistctl " + line))

    def test_offers_ids_to_every_command_that_takes_one(self):
        self.serve("plain")
        for line in ("select ", "remove ", "replace ", "--json select ", "--timeout 3 select ",
                     "wait --item ", "wait --item="):
            with self.subTest(line):
                offered = self.shell.offered("applistctl " + line)
                self.assertEqual({each.removeprefix("--item=") for each in offered},
                                 {"nothing", "plain"})

    def test_selects_what_is_meant_and_runs_nothing_of_it(self):
        ui = self.serve(*IDS.values())
        person = Person(self.shell)
        for typed, unique_id in IDS.items():
            with self.subTest(unique_id):
                person.run(f"applistctl select {typed}\t")
                self.assertEqual(ui.selected_id(), unique_id)
        # The whole list, and then none of it.
        person.type("applistctl select \t\t\x15")
        person.leave()
        self.assertEqual([each for each in self.root.rglob("canary")], [])

    def test_asks_the_bus_that_the_line_names(self):
        self.serve("here")
        other = Bus()
        self.addCleanup(other.remove)
        daemon = Applistd(other, "--items", self.file("A\ta\nThere\tthere\n"))
        self.addCleanup(daemon.stop)
        ui = Partner(other)
        self.addCleanup(ui.close)
        person = Person(self.shell)
        for option in ("--address=", "--address ", "--address '"):
            with self.subTest(option):
                quote = "'" if option.endswith("'") else ""
                ui.select("a")
                person.run(f"applistctl {option}{other.address}{quote} select th\t")
                self.assertEqual(ui.selected_id(), "there")
        person.leave()

    def test_evaluates_nothing_of_a_line_that_is_not_sent_off(self):
        self.serve("plain")
        for bus in ("$(touch canary)", "`touch canary`", "\"$(touch canary)\""):
            self.shell.offered(f"applistctl --address={bus} select ")
            self.shell.offered(f"applistctl --address {bus} select ")
        self.assertEqual([each for each in self.root.rglob("canary")], [])

    def test_starts_no_service(self):
        started = self.root / "started"
        services = self.home / "data/dbus-1/services"
        services.mkdir(parents=True)
        (services / "applist.service").write_text(
            "[D-BUS Service]\nName=org.tessel.Local.Applist\n"
            f"Exec=/usr/bin/touch {started}\n", encoding="utf-8")
        bus = Bus(XDG_DATA_HOME=str(self.home / "data"))
        self.addCleanup(bus.remove)
        self.shell.variables["DBUS_SESSION_BUS_ADDRESS"] = bus.address

        self.assertEqual(self.shell.offered("applistctl select "), set())

        self.assertFalse(started.exists())
        subprocess.run([APPLISTCTL, f"--address={bus.address}", "list"], capture_output=True,
                       timeout=DEADLINE, check=False)
        self.assertTrue(started.exists(), "nobody could have started one")

    def test_completes_the_file_of_items(self):
        (self.home / "my items.txt").write_text("Radio\tradio\n", encoding="utf-8")
        person = Person(self.shell)
        for option in ("--items=", "--items "):
            with self.subTest(option):
                # To the start of the line, which then shows its words instead.
                person.run(f"applistd {option}my\t --nothing\x01printf '%s\\n' > typed \x05")
                typed = (self.home / "typed").read_text(encoding="utf-8")
                self.assertEqual(typed.replace("=", "\n"), "applistd\n--items\nmy items.txt\n--nothing\n")
        person.leave()

    def test_completes_files_with_spaces(self):
        ui = self.serve("plain")
        (self.home / "my items.txt").write_text("Radio\tradio\n", encoding="utf-8")
        person = Person(self.shell)
        person.run("applistctl import my\t")
        person.leave()
        self.assertEqual(ui.ids(), ["nothing", "plain", "radio"])


class InBash(Completing, CompletionTest):
    SHELL = Bash

    def test_completes_within_quotes(self):
        ui = self.serve("nothing", *IDS.values())
        person = Person(self.shell)
        for typed in ("'two w", '"two w', "two\\ w", "'two 'w", "tw'o w"):
            self.check(person, ui, typed, "two words")
        for typed in ("'it", '"it', "it\\'", '"it\'s \\"'):
            self.check(person, ui, typed, IDS["it"])
        for typed in ("'cm", '"cm', 'cmd"$(', "cmd\\$\\("):
            self.check(person, ui, typed, IDS["cm"])
        for typed in ("colon:", "colon:and=", "colon\\:an", "'colon:an", '"colon:and='):
            self.check(person, ui, typed, IDS["co"])
        for typed in ('"bang', "'bang"):
            self.check(person, ui, typed, IDS["bang"])
        person.leave()
        self.assertEqual([each for each in self.root.rglob("canary")], [])

    def check(self, person, ui, typed, unique_id):
        with self.subTest(typed):
            ui.select("nothing")
            person.run(f"applistctl select {typed}\t")
            self.assertEqual(ui.selected_id(), unique_id)

    def test_completes_an_id_with_a_tab(self):
        ui = self.serve(TAB[1])
        person = Person(self.shell)
        self.check(person, ui, *TAB)
        person.leave()


class InZsh(Completing, CompletionTest):
    SHELL = Zsh

    def test_completes_an_id_with_a_tab(self):
        ui = self.serve(TAB[1])
        person = Person(self.shell)
        person.run(f"applistctl select {TAB[0]}\t")
        person.leave()
        self.assertEqual(ui.selected_id(), TAB[1])


class InFish(Completing, CompletionTest):
    SHELL = Fish

    def test_offers_no_part_of_an_id_with_a_tab(self):
        self.serve("plain", TAB[1])
        self.assertEqual(self.shell.offered("applistctl select "), {"nothing", "plain"})


if __name__ == "__main__":
    unittest.main()
