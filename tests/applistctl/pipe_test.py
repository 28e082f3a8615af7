# SPDX-License-Identifier: MIT

"""What comes out of a pipe: bare lines, one record each, which other programs take apart."""

import unittest

from support import items
from tool import MAPS, MUSIC, ToolTest, item_bytes


class APipe(ToolTest):
    def test_gets_the_list_as_item_lines(self):
        self.assertEqual(self.output_of("list"), "Maps\tmaps\nMusic\tmusic\n")

    def test_gets_the_selection_as_one_item_line(self):
        self.assertEqual(self.output_of("selection"), "Maps\tmaps\n")

    def test_gets_what_was_selected(self):
        self.assertEqual(self.output_of("select", "music"), "selected\tMusic\tmusic\n")

    def test_gets_what_was_added(self):
        self.assertEqual(self.output_of("add", "Mail", "mail"), "added\tMail\tmail\n")

    def test_gets_what_was_removed(self):
        self.output_of("add", "Mail", "mail")
        self.assertEqual(self.output_of("remove", "mail"), "removed\tMail\tmail\n")

    def test_gets_the_new_item_and_the_old_one_of_a_replacement(self):
        self.output_of("add", "Mail", "mail")
        self.assertEqual(self.output_of("replace", "mail", "Post", "post"),
                         "replaced\tPost\tpost\tMail\tmail\n")

    def test_gets_the_number_of_imported_items(self):
        self.assertEqual(self.output_of("import", stdin=b"A\ta\nB\tb\n"), "imported\t2\n")

    def test_gets_the_number_of_cleared_items(self):
        self.assertEqual(self.output_of("clear", "--yes"), "cleared\t2\n")

    def test_gets_a_mark_at_the_selection_when_asked(self):
        self.assertEqual(self.output_of("list", "--selected"), "Maps\tmaps\t*\nMusic\tmusic\t\n")

    def test_gets_the_numbers_of_imported_and_of_skipped_items(self):
        self.assertEqual(self.output_of("import", "--new", stdin=b"A\ta\nMaps\tmaps\n"),
                         "imported\t1\t1\n")

    def test_gets_the_numbers_of_a_synchronization(self):
        self.assertEqual(self.output_of("sync", "-", stdin=b"Maps\tmaps\nMusic\tmusic\nA\ta\n"),
                         "synced\t1\t0\t0\t0\n")

    def test_gets_the_items_of_a_reply(self):
        self.assertEqual(self.output_of("call", "GetAllItems"), "Maps\tmaps\nMusic\tmusic\n")

    def test_gets_a_line_for_an_event(self):
        watch = self.watch("--count=1")
        self.output_of("select", "music")
        self.assertEqual(watch.next(), "selected\tMusic\tmusic")

    def test_gets_separators_inside_a_name_escaped(self):
        self.output_of("add", "a\tb\nc\\d", "odd")
        self.assertEqual(self.output_of("list").splitlines()[2], "a\\tb\\nc\\\\d\todd")

    def test_gets_separators_inside_an_edited_name_escaped(self):
        self.assertEqual(self.output_of("add", "a\tb\nc\\d", "o\td"),
                         "added\ta\\tb\\nc\\\\d\to\\td\n")

    def test_gets_every_other_byte_as_it_is(self):
        self.partner().call(items.ADD_ITEM_AT_END, item_bytes(b"\x1b\xff\x00\xe4", b"\x80"))
        result = self.run_tool("list")
        self.assertEqual(result.out.splitlines(keepends=True)[2], b"\x1b\xff\x00\xe4\t\x80\n")

    def test_gets_no_colours(self):
        self.assertNotIn("\033", self.output_of("list", COLORTERM="truecolor"))

    def test_carries_a_list_from_list_to_import(self):
        self.output_of("add", "a\tb\nc\\d", "odd")
        kept = self.output_of("list")
        self.output_of("clear", "--yes")
        self.output_of("import", stdin=kept.encode())
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("a\tb\nc\\d", "odd")])


class APipeFromAnEmptyList(ToolTest):
    ITEMS = ""

    def test_gets_no_line(self):
        self.assertEqual(self.output_of("list"), "")

    def test_gets_no_selection_and_status_1(self):
        self.assertIn("nothing is selected", self.complaint_of(1, "selection"))

    def test_gets_that_nothing_was_cleared(self):
        self.assertEqual(self.output_of("clear", "--yes"), "cleared\t0\n")


class APipeFromAServiceThatSelectsWhatIsNotInItsList(ToolTest):
    ITEMS = None

    def test_gets_the_selection(self):
        self.script("2001=Ghost\\tghost\\n")
        self.assertEqual(self.output_of("selection"), "Ghost\tghost\n")


if __name__ == "__main__":
    unittest.main()
