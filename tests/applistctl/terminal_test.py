# SPDX-License-Identifier: MIT

"""What a person sees: tables, sentences, colours, and nothing that moves the cursor."""

import unittest

from support import items
from tool import MAPS, MUSIC, ToolTest, item_bytes

BOLD, PLAIN = "\033[1m", "\033[0m"


class ATerminal(ToolTest):
    def test_shows_the_list_as_a_table_with_the_selection_marked(self):
        self.assertEqual(self.on_terminal("list"),
                         f"{BOLD}  NAME   ID{PLAIN}\n"
                         f"{BOLD}* Maps   maps{PLAIN}\n"
                         "  Music  music\n")

    def test_shows_no_colours_when_asked_not_to(self):
        self.assertEqual(self.on_terminal("list", NO_COLOR="1"),
                         "  NAME   ID\n* Maps   maps\n  Music  music\n")

    def test_shows_no_colours_when_it_has_none(self):
        self.assertNotIn("\033", self.on_terminal("list", TERM="dumb"))

    def test_shows_colours_when_the_wish_is_empty(self):
        self.assertIn(BOLD, self.on_terminal("list", NO_COLOR=""))

    def test_shows_the_selection(self):
        self.assertEqual(self.on_terminal("selection", NO_COLOR="1"), "  NAME  ID\n* Maps  maps\n")

    def test_shows_an_edit_as_a_sentence(self):
        self.assertEqual(self.on_terminal("select", "music"), "selected Music (music)\n")
        self.assertEqual(self.on_terminal("add", "Mail", "mail"), "added Mail (mail)\n")
        self.assertEqual(self.on_terminal("replace", "mail", "Post", "post"),
                         "replaced Mail (mail) -> Post (post)\n")
        self.assertEqual(self.on_terminal("remove", "post"), "removed Post (post)\n")

    def test_shows_what_is_empty(self):
        self.assertEqual(self.on_terminal("add", "", "x"), 'added "" (x)\n')
        self.assertEqual(self.on_terminal("add", "X", ""), 'added X ("")\n')
        seen = self.on_terminal("add", "--again", "", "")
        self.assertTrue(seen.startswith("added an empty item\n"), seen)

    def test_shows_how_many_items_were_imported(self):
        self.assertEqual(self.on_terminal("import", self.file("Mail\tmail\n")),
                         "imported 1 item\n")

    def test_shows_the_items_of_a_reply_as_a_table(self):
        self.assertEqual(self.on_terminal("call", "GetSelection", NO_COLOR="1"),
                         "  NAME  ID\n  Maps  maps\n")

    def test_says_that_a_reply_is_empty(self):
        self.assertEqual(self.on_terminal("call", "RemoveAllItems"),
                         "applistctl: the reply is empty\n")

    def test_shows_what_a_synchronization_would_do_and_what_it_did(self):
        path = self.file("Maps\tmaps\nMusic\tmusic\nMail\tmail\n")
        self.assertEqual(self.on_terminal("sync", "--dry-run", path), "add Mail (mail)\n")
        self.assertEqual(self.on_terminal("sync", path),
                         "synced: 1 added, 0 removed, 0 replaced, 0 moved\n")

    def test_shows_how_many_items_were_skipped(self):
        self.assertEqual(self.on_terminal("import", "--new", self.file("Mail\tmail\nM\tmaps\n")),
                         "imported 1 item, 1 skipped\n")

    def test_shows_the_status_as_a_table(self):
        seen = self.on_terminal("status").splitlines()
        self.assertEqual(seen[0], f"bus        the session bus at {self.bus.address}")
        self.assertRegex(seen[1], r"\Aowner      :1\.\d+\Z")
        self.assertEqual(seen[2:], [f"process    {self.daemon.process.pid} (applistd)",
                                    "items      2", "selection  Maps (maps)", "partners   0",
                                    "serial     0"])

    def test_shows_a_followed_selection(self):
        terminal = self.terminal("selection", "--follow", "--count=2")
        terminal.wait_for(b"Maps (maps)\r\n")
        self.output_of("clear", "--yes")
        self.assertEqual(terminal.finish(), (0, b"Maps (maps)\nnothing is selected\n"))

    def test_shows_events_as_sentences(self):
        terminal = self.terminal("watch", "--count=2")
        terminal.wait_for(b"applistctl: watching 2 items\r\n")
        self.output_of("select", "music")
        terminal.wait_for(b"selected Music (music)\r\n")
        self.output_of("add", "Mail", "mail")
        status, seen = terminal.finish()
        self.assertEqual(status, 0)
        self.assertTrue(seen.endswith(b"selected Music (music)\nadded Mail (mail)\n"), seen)

    def test_shows_every_kind_of_event_as_a_sentence(self):
        self.daemon.stop()
        service = self.script()
        terminal = self.terminal("watch", "--count=6")
        terminal.wait_for(b"watching 2 items\r\n")
        for lines, sentence in (
                (("2002=Atlas\\tmaps\\nMusic\\tmusic\\n", "notify 1"),
                 b"renamed Maps (maps) -> Atlas (maps)\r\n"),
                (("2002=Music\\tmusic\\nAtlas\\tmaps\\n", "notify 1"), b"reordered\r\n"),
                (("2002=Atlas\\tmaps\\n", "notify 1"), b"removed Music (music)\r\n"),
                (("notify 3",), b"clicked\r\n")):
            service.tell(*lines)
            terminal.wait_for(sentence)
        service.stop()
        terminal.wait_for(b"clicked\r\nlost\r\n")
        self.script()
        self.assertEqual(terminal.finish()[1].splitlines()[-1], b"back")

    def test_ends_a_watch_with_control_c(self):
        terminal = self.terminal("watch")
        terminal.wait_for(b"watching 2 items\r\n")
        terminal.type(b"\x03")
        self.assertEqual(terminal.finish(), (130, b"applistctl: watching 2 items\n^C"))

    def test_says_that_the_list_is_empty(self):
        self.output_of("clear", "--yes")
        self.assertEqual(self.on_terminal("list"), "applistctl: the list is empty\n")


class ATerminalWithNamesThatTurnTheText(ToolTest):
    MARKS = "\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069"
    SHOWN = "".join(f"\\x{byte:02x}" for byte in MARKS.encode())
    ITEMS = f"a{MARKS}b\tx\u202ey\nc\u200d\u202f\u2065\u206ad\tz\n"

    def test_shows_their_bytes(self):
        rows = self.on_terminal("list", columns=200, NO_COLOR="1").splitlines()
        self.assertTrue(rows[1].startswith(f"* a{self.SHOWN}b  x\\xe2\\x80\\xaey"), rows)
        # A narrow space can be seen; what joins nothing cannot.
        self.assertIn("c\\xe2\\x80\\x8d\u202f\\xe2\\x81\\xa5\\xe2\\x81\\xaad", rows[2])
        self.assertEqual(self.on_terminal("select", "x\u202ey"),
                         f"selected a{self.SHOWN}b (x\\xe2\\x80\\xaey)\n")
        self.assertIn("id q\\xe2\\x80\\xae; ", self.complaint_of(1, "select", "q\u202e"))

    def test_escapes_them_in_json(self):
        escaped = "".join(f"\\u{ord(mark):04x}" for mark in self.MARKS)
        seen = self.on_terminal("list", "--json=short")
        self.assertIn(f'"a{escaped}b"', seen)
        self.assertIn('"c\u200d\u202f\u2065\u206ad"', seen)

    def test_keeps_them_in_a_pipe(self):
        self.assertEqual(self.output_of("list"), self.ITEMS)


class ATerminalAskedToClear(ToolTest):
    QUESTION = b"Remove all 2 items? [y/N] "

    def answered(self, answer):
        terminal = self.terminal("clear")
        terminal.wait_for(self.QUESTION)
        terminal.type(answer)
        return terminal.finish()

    def test_clears_after_a_yes(self):
        for answer in (b"y\n", b"Y\n", b"yes\n", b"Yes\n", b"YES\n"):
            with self.subTest(answer=answer):
                self.partner().call(items.REMOVE_ALL_ITEMS)
                self.partner().call(items.ADD_ITEMS, items.item("A", "a") + items.item("B", "b"))
                status, seen = self.answered(answer)
                self.assertEqual(status, 0, seen)
                self.assertTrue(seen.endswith(b"cleared 2 items\n"), seen)
                self.assertEqual(self.all_items(), [])

    def test_keeps_the_list_after_anything_else(self):
        for answer in (b"n\n", b"\n", b"yesterday\n", b"\x04"):
            with self.subTest(answer=answer):
                status, seen = self.answered(answer)
                self.assertEqual(status, 1, seen)
                self.assertIn(b"applistctl: nothing was removed; ", seen)
                self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_does_not_ask_when_told_not_to(self):
        self.assertEqual(self.on_terminal("clear", "--yes"), "cleared 2 items\n")

    def test_does_not_ask_about_an_empty_list(self):
        self.output_of("clear", "--yes")
        self.assertEqual(self.on_terminal("clear"), "cleared 0 items\n")

    def test_is_asked_with_the_number_of_items_as_it_is(self):
        self.output_of("add", "Mail", "mail")
        terminal = self.terminal("clear")
        terminal.wait_for(b"Remove all 3 items? [y/N] ")
        terminal.type(b"n\n")
        terminal.finish()


class ANarrowTerminal(ToolTest):
    ITEMS = "Maps\tmaps\nAn application of many words\torg.tessel.example.Words\n"

    def rows(self, columns):
        return self.on_terminal("list", columns=columns, NO_COLOR="1").splitlines()

    def test_is_never_overrun_while_an_id_fits(self):
        for columns in (28, 29, 35, 36, 40, 57, 58, 59):
            rows = self.rows(columns)
            self.assertLessEqual(max(map(len, rows)), columns, rows)

    def test_is_used_to_its_last_column(self):
        self.assertEqual(self.rows(56)[2],
                         "  An application of many words  org.tessel.example.Words")

    def test_shortens_names(self):
        self.assertEqual(self.rows(40), ["  NAME          ID",
                                         "* Maps          maps",
                                         "  An applicat…  org.tessel.example.Words"])
        self.assertEqual(self.rows(36)[2], "  An appl…  org.tessel.example.Words")

    def test_shows_ids_below_names_when_these_cannot_give_more(self):
        self.assertEqual(self.rows(35), ["  NAME", "    ID",
                                         "* Maps", "    maps",
                                         "  An application of many words",
                                         "    org.tessel.example.Words"])

    def test_never_cuts_an_id(self):
        self.assertEqual(self.rows(12)[4:], ["  An applic…", "    org.tessel.example.Words"])

    def test_cuts_nothing_when_it_could_not_be_read_then(self):
        self.assertEqual(self.rows(9), ["  NAME", "ID", "* Maps", "maps",
                                        "  An application of many words",
                                        "org.tessel.example.Words"])


class ATerminalThatDoesNotTellItsWidth(ToolTest):
    ITEMS = "x" * 100 + "\tid\n"

    def test_is_taken_for_the_usual_one(self):
        rows = self.on_terminal("list", columns=0, NO_COLOR="1").splitlines()
        self.assertEqual(max(map(len, rows)), 80)


class ATerminalWithLettersOfAllKinds(ToolTest):
    ITEMS = "Käse\tkaese\n你好\thello\ne\u0301te\u0301\tsummer\nx\tx\n"

    def test_keeps_the_columns_in_line(self):
        self.assertEqual(self.on_terminal("list", NO_COLOR="1"),
                         "  NAME  ID\n"
                         "* Käse  kaese\n"
                         "  你好  hello\n"
                         "  e\u0301te\u0301   summer\n"
                         "  x     x\n")

    def test_keeps_them_in_a_locale_without_such_letters(self):
        self.assertIn("  你好  hello\n", self.on_terminal("list", NO_COLOR="1", LC_ALL="C"))

    def test_does_not_cut_a_wide_letter_in_two(self):
        self.output_of("add", "你好你好你好", "six")
        rows = self.on_terminal("list", columns=18, NO_COLOR="1").splitlines()
        self.assertEqual(rows[5], "  你好你…   six")


class ATerminalWithAHostileList(ToolTest):
    NAME = b"\x1b]0;owned\x07\x1b[2J\r\xc2\x9b31m\x7f\xff"
    SHOWN = "\\x1b]0;owned\\x07\\x1b[2J\\x0d\\xc2\\x9b31m\\x7f\\xff"

    def setUp(self):
        super().setUp()
        self.partner().call(items.ADD_ITEM_AT_END, item_bytes(self.NAME, b"e\x1bvil"))

    def test_shows_the_bytes_in_a_table(self):
        seen = self.on_terminal("list", NO_COLOR="1")
        self.assertEqual(seen.splitlines()[3], f"  {self.SHOWN}  e\\x1bvil")

    def test_shows_the_bytes_in_a_sentence(self):
        self.assertEqual(self.on_terminal("select", b"e\x1bvil"),
                         f"selected {self.SHOWN} (e\\x1bvil)\n")

    def test_shows_the_bytes_of_an_event(self):
        terminal = self.terminal("watch", "--count=1")
        terminal.wait_for(b"watching")
        self.run_tool("select", b"e\x1bvil")
        status, seen = terminal.finish()
        self.assertEqual(status, 0)
        self.assertTrue(seen.endswith(f"selected {self.SHOWN} (e\\x1bvil)\n".encode()), seen)

    def test_shows_the_bytes_in_json_as_escapes(self):
        seen = self.on_terminal("list", "--json")
        self.assertIn('"\\u001b]0;owned\\u0007\\u001b[2J\\r\\u009b31m\\u007f\ufffd"', seen)
        self.assertEqual([letter for letter in seen if ord(letter) < 32 and letter != "\n"], [])

    def test_shows_the_bytes_of_an_unknown_id(self):
        seen = self.on_terminal("select", b"\x1b[31m\n\xff", status=1)
        self.assertRegex(seen, r"\Aapplistctl: no item has the id \\x1b\[31m\\x0a\\xff;[^\n]*\n\Z")


if __name__ == "__main__":
    unittest.main()
