# SPDX-License-Identifier: MIT

"""The commands that --interactive reads."""

import fcntl
import os
import select
import subprocess
import unittest

from support import items
from support.case import AppTest
from support.processes import DEADLINE


class TheConsole(AppTest):
    def setUp(self):
        super().setUp()
        self.daemon = self.start("--interactive", "--items",
                                 self.file("Maps\tmaps\nMusic\tmusic\n"),
                                 stdin=subprocess.PIPE)
        self.ui = self.partner()

    def test_selects(self):
        self.daemon.type("select music")
        self.ui.wait_for_event(items.ITEM_SELECTION)
        self.assertEqual(self.ui.selected_id(), "music")

    def test_clicks(self):
        self.daemon.type("click music")
        self.assertEqual(self.ui.wait_for_event(items.ITEM_CLICKED), [items.ITEM_CLICKED])

    def test_adds_what_is_quoted_as_in_a_shell(self):
        self.daemon.type("add 'Mail \"Box\"' mail\\ box")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items()[2], ('Mail "Box"', "mail box"))

    def test_removes(self):
        self.daemon.type("remove maps")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.ids(), ["music"])

    def test_removes_an_item_that_it_added(self):
        self.daemon.type("add Mail mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.daemon.type("remove mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.ids(), ["maps", "music"])

    def test_goes_on_after_the_partner_removed_what_it_added(self):
        self.daemon.type("add Mail mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.ui.call(items.REMOVE_ALL_ITEMS)
        self.ui.events()
        self.daemon.type("add News news")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.ids(), ["news"])

    def test_shows_its_commands_when_asked(self):
        self.daemon.type("help")
        usages = ["select ID", "click ID", "add NAME ID", "remove ID", "list", "help", "quit"]
        self.assertEqual([self.daemon.out.wait_for("") for _ in usages], usages)

    def test_lists_name_and_id_with_a_star_at_the_selection(self):
        self.daemon.type("select music")
        self.daemon.type("list")
        self.assertEqual(self.daemon.out.wait_for("maps"), "  Maps\tmaps")
        self.assertEqual(self.daemon.out.wait_for("music"), "* Music\tmusic")

    def test_lists_control_bytes_of_a_partners_item_as_text(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("\x1b[2J\x07", "evil"))
        self.daemon.type("list")
        self.assertEqual(self.daemon.out.wait_for("evil"), "  \\x1b[2J\\x07\tevil")

    def test_lists_marks_that_turn_the_direction_of_text_as_text(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("a\u202eb", "evil"))
        self.daemon.type("list")
        self.assertEqual(self.daemon.out.wait_for("evil"), "  a\\xe2\\x80\\xaeb\tevil")

    def test_answers_an_unknown_command_in_one_line(self):
        self.daemon.type("frob\x1b maps")
        self.assertIn("unknown command frob\\x1b; use select, click, add, remove, list, help or quit",
                      self.daemon.err.wait_for("applistd: "))

    def test_answers_an_unknown_id_in_one_line(self):
        for command in ("select", "click", "remove"):
            self.daemon.type(f"{command} nobody")
            self.assertEqual(self.daemon.err.wait_for("applistd: "),
                             "applistd: no item has the id nobody; list shows the ids")
        self.assertEqual(self.ui.events(), [])

    def test_says_how_a_command_is_written(self):
        self.daemon.type("add Mail")
        self.assertEqual(self.daemon.err.wait_for("applistd: "), "applistd: usage: add NAME ID")

    def test_answers_an_open_quote_and_goes_on(self):
        self.daemon.type("add 'Mail mail")
        self.daemon.err.wait_for("applistd: ")
        self.daemon.type("list")
        self.daemon.out.wait_for("maps")

    def test_passes_over_blank_lines(self):
        self.daemon.type("")
        self.daemon.type("   ")
        self.daemon.type("quit")
        self.assertEqual(self.daemon.wait(), 0)
        self.assertEqual([line for line in self.daemon.err.rest() if line.startswith("applistd:")],
                         [])

    def test_leaves_an_endless_line_out_and_goes_on(self):
        self.daemon.type("x" * 200000)
        self.daemon.type("select music")
        self.ui.wait_for_event(items.ITEM_SELECTION)
        self.assertIn("more than 65536 bytes", self.daemon.err.wait_for("applistd: "))
        self.assertEqual(self.daemon.stop(), 0)
        self.assertEqual([line for line in self.daemon.err.rest() if line.startswith("applistd:")],
                         [])

    def test_quits(self):
        self.daemon.type("quit")
        self.assertEqual(self.daemon.wait(), 0)
        self.assertEqual(self.daemon.next_notification(), "STOPPING=1")

    def test_quits_at_the_end_of_input(self):
        self.daemon.process.stdin.close()
        self.assertEqual(self.daemon.wait(), 0)

    def test_carries_out_a_last_line_without_its_end(self):
        self.daemon.process.stdin.write("list")
        self.daemon.process.stdin.close()
        self.daemon.out.wait_for("music")
        self.assertEqual(self.daemon.wait(), 0)


class AConsoleWithCommandsFromAFile(AppTest):
    """Which is always ready, and which no epoll waits for."""

    def console(self, commands):
        with open(commands, encoding="utf-8") as stdin:
            return self.start("--interactive", "--items", self.file("Maps\tmaps\n"), stdin=stdin)

    def test_carries_all_of_them_out_and_quits(self):
        daemon = self.console(self.file("add News news\nselect news\nlist"))
        self.assertEqual(daemon.wait(), 0)
        self.assertEqual(daemon.out.rest(), ["  Maps\tmaps", "* News\tnews"])

    def test_quits_where_there_are_none(self):
        self.assertEqual(self.console("/dev/null").wait(), 0)


class AConsoleWhoseReaderHasLeft(AppTest):
    def test_still_carries_commands_out(self):
        reader, writer = os.pipe()
        os.close(reader)
        daemon = self.start("--interactive", "--items", self.file("Maps\tmaps\nMusic\tmusic\n"),
                            stdin=subprocess.PIPE, stdout=writer)
        os.close(writer)
        ui = self.partner()
        daemon.type("list")
        daemon.type("select music")
        ui.wait_for_event(items.ITEM_SELECTION)
        self.assertEqual(ui.selected_id(), "music")


class AConsoleWhoseReaderDoesNotRead(AppTest):
    """Its list is far longer than what the pipe holds."""

    def setUp(self):
        super().setUp()
        self.reader, writer = os.pipe()
        self.addCleanup(os.close, self.reader)
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        self.lines = [f"Name {n}\tid{n}\n" for n in range(2000)]
        self.daemon = self.start("--interactive", "--items", self.file("".join(self.lines)),
                                 stdin=subprocess.PIPE, stdout=writer)
        os.close(writer)
        self.ui = self.partner()

    def read_list(self):
        expected = "".join("  " + line for line in self.lines).replace("  ", "* ", 1)
        seen = ""
        while len(seen) < len(expected):
            ready, _, _ = select.select([self.reader], [], [], DEADLINE)
            self.assertTrue(ready, f"nothing more within {DEADLINE} s; there was {seen!r}")
            seen += os.read(self.reader, 65536).decode()
        self.assertEqual(seen, expected)

    def test_does_not_stop_the_service(self):
        self.daemon.type("list")
        ready, _, _ = select.select([self.reader], [], [], DEADLINE)
        self.assertTrue(ready, "no list")
        self.ui.select("id7")
        self.assertEqual(self.ui.selected_id(), "id7")

    def test_gets_all_of_it_later_and_then_carries_out_what_was_typed_meanwhile(self):
        self.daemon.type("list")
        self.daemon.type("select id5")
        self.read_list()
        self.ui.wait_for_event(items.ITEM_SELECTION)
        self.assertEqual(self.ui.selected_id(), "id5")

    def test_gets_all_of_it_before_the_daemon_ends_with_its_input(self):
        self.daemon.type("list")
        self.daemon.process.stdin.close()
        self.read_list()
        self.assertEqual(self.daemon.wait(), 0)


if __name__ == "__main__":
    unittest.main()
