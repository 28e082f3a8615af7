# SPDX-License-Identifier: MIT

"""Edits say what really happened to the list, whatever the service answered."""

import os
import unittest

from support import items
from tool import MAPS, MUSIC, ToolTest, add

FIRST_OF_AN_ID = ("select takes the first one with an id, "
                  "remove and replace the first one that a partner added")


class AnEdit(ToolTest):
    def test_selects(self):
        self.output_of("select", "music")
        self.assertEqual(self.partner().selected_id(), "music")

    def test_selects_what_is_selected(self):
        self.assertEqual(self.output_of("select", "maps"), "selected\tMaps\tmaps\n")

    def test_selects_no_unknown_id(self):
        self.assertEqual(self.complaint_of(1, "select", "mail"),
                         "no item has the id mail; applistctl list shows the ids")
        self.assertEqual(self.partner().selected_id(), "maps")

    def test_shows_an_empty_id(self):
        self.assertEqual(self.complaint_of(1, "select", ""),
                         'no item has the id ""; applistctl list shows the ids')
        self.partner().call(items.ADD_ITEMS, items.item("Mail", "") * 2)
        self.assertEqual(self.run_tool("remove", "").err,
                         'applistctl: another item still has the id ""\n')

    def test_adds_at_the_end(self):
        self.output_of("add", "Mail", "mail")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("Mail", "mail")])

    def test_adds_no_second_item_of_an_id(self):
        self.assertEqual(self.complaint_of(1, "add", "More Maps", "maps"),
                         "Maps (maps) has the id maps already; use --again to add another item "
                         "with it, or replace that one")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_adds_a_second_item_of_an_id_when_asked_and_says_so(self):
        result = self.run_tool("add", "--again", "More Maps", "maps")
        self.assertEqual((result.status, result.out), (0, b"added\tMore Maps\tmaps\n"))
        self.assertIn(FIRST_OF_AN_ID, result.err)
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("More Maps", "maps")])

    def test_adds_names_and_ids_as_they_are(self):
        odd = [("list", "watch"), ("[a,b]", "{}"), ("%s", "\"q\""), ("", ""), ("\\t", "a=b"),
               ("~", "a b ")]
        for name, unique_id in odd:
            self.output_of("add", name, unique_id)
        self.assertEqual(self.all_items()[2:], odd)

    def test_adds_what_looks_like_options_after_two_dashes(self):
        self.output_of("add", "--", "--json", "-x")
        self.assertEqual(self.all_items()[2:], [("--json", "-x")])

    def test_removes_what_a_partner_added(self):
        add(self.partner(), "Mail", "mail")
        self.output_of("remove", "mail")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_does_not_remove_what_is_the_services_own(self):
        self.assertEqual(self.complaint_of(1, "remove", "music"),
                         "the service keeps Music (music): only items that a partner added can be "
                         "removed or replaced; change it where the service gets it")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_removes_no_unknown_id(self):
        self.assertIn("no item has the id mail", self.complaint_of(1, "remove", "mail"))

    def test_removes_the_first_of_an_id_and_says_that_another_is_left(self):
        partner = self.partner()
        add(partner, "One", "mail")
        add(partner, "Two", "mail")
        result = self.run_tool("remove", "mail")
        self.assertEqual((result.status, result.out), (0, b"removed\tOne\tmail\n"))
        self.assertEqual(result.err, "applistctl: another item still has the id mail\n")

    def test_removes_a_partners_item_beside_the_services_own_of_the_same_id(self):
        add(self.partner(), "More Maps", "maps")
        self.assertEqual(self.run_tool("remove", "maps").out, b"removed\tMore Maps\tmaps\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_replaces_what_a_partner_added_in_its_place(self):
        partner = self.partner()
        add(partner, "Mail", "mail")
        add(partner, "News", "news")
        self.output_of("replace", "mail", "Post", "post")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("Post", "post"), ("News", "news")])

    def test_does_not_replace_what_is_the_services_own(self):
        complaint = self.complaint_of(1, "replace", "music", "Post", "post")
        self.assertIn("the service keeps Music (music)", complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_replaces_no_unknown_id(self):
        self.assertIn("no item has the id mail",
                      self.complaint_of(1, "replace", "mail", "Post", "post"))

    def test_says_that_a_replacement_by_a_taken_id_only_removed(self):
        partner = self.partner()
        add(partner, "Mail", "mail")
        add(partner, "Post", "post")
        complaint = self.complaint_of(1, "replace", "mail", "New Post", "post")
        self.assertIn("Mail (mail) was removed but nothing was added: the id post was taken",
                      complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("Post", "post")])

    def test_says_that_a_replacement_by_the_same_id_only_removed(self):
        add(self.partner(), "Mail", "mail")
        complaint = self.complaint_of(1, "replace", "mail", "Post", "mail")
        self.assertIn("Mail (mail) was removed but nothing was added", complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_clears_everything(self):
        self.output_of("clear", "--yes")
        self.assertEqual(self.all_items(), [])

    def test_does_not_clear_unasked(self):
        self.assertIn("--yes", self.complaint_of(2, "clear", stdin=b"y\n"))
        self.assertEqual(self.all_items(), [MAPS, MUSIC])


class ANameInPlaceOfAnId(ToolTest):
    ITEMS = "Maps\tmaps\nRadio\tr1\nRadio\tr 2\n"

    def test_is_answered_with_the_id(self):
        for command, meant in ((("select", "Maps"), "select maps"),
                               (("remove", "Maps"), "remove maps"),
                               (("replace", "Maps", "It's", "-x"),
                                "replace -- maps 'It'\\''s' -x")):
            arguments = (command[0], "--", *command[1:])
            self.assertEqual(self.complaint_of(1, *arguments),
                             "no item has the id Maps; Maps is the name of maps: use " + meant)
        self.assertEqual(len(self.all_items()), 3)

    def test_of_several_items_is_answered_with_every_id(self):
        self.assertEqual(self.complaint_of(1, "select", "Radio"),
                         "no item has the id Radio; Radio is the name of r1 and r 2: "
                         "use select r1, or select 'r 2'")

    def test_is_answered_with_no_line_for_another_list(self):
        address = "--address=" + self.bus.address
        self.assertEqual(self.complaint_of(1, address, "remove", "Maps",
                                           DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/bus"),
                         "no item has the id Maps; Maps is the name of maps: use remove maps")

    def test_that_is_an_id_too_is_one(self):
        self.output_of("add", "Other", "Maps")
        self.assertEqual(self.output_of("select", "Maps"), "selected\tOther\tMaps\n")


class AnEditThatTheServiceIgnores(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.script()

    def test_is_told_of_a_selection(self):
        self.assertEqual(self.complaint_of(1, "select", "music"),
                         "the service keeps Maps (maps) selected; "
                         "check with applistctl list that music is still there")

    def test_is_told_of_a_new_item(self):
        self.assertIn("the service did not add Mail (mail); ",
                      self.complaint_of(1, "add", "Mail", "mail"))

    def test_is_told_of_a_batch(self):
        self.assertIn("2 of 2 items are not in the list; ",
                      self.complaint_of(1, "import", stdin=b"A\ta\nB\tb\n"))

    def test_is_told_of_a_removal(self):
        self.assertIn("the service keeps Music (music): ",
                      self.complaint_of(1, "remove", "music"))

    def test_is_told_of_a_replacement(self):
        self.assertIn("the service keeps Music (music): ",
                      self.complaint_of(1, "replace", "music", "Tunes", "tunes"))

    def test_is_told_of_a_clear(self):
        self.assertIn("2 items are in the list now; ", self.complaint_of(1, "clear", "--yes"))


class AnImport(ToolTest):
    def bad(self, text):
        path = self.file(text)
        return path, self.complaint_of(2, "import", path)

    def test_adds_all_items_of_a_file_in_one_batch(self):
        partner = self.partner()
        path = self.file("A\ta\nB\tb\nC\\tD\tc\n")
        self.assertEqual(self.output_of("import", path), "imported\t3\n")
        self.assertEqual(partner.events().count(items.ITEM_CHANGE), 1)
        self.assertEqual(self.all_items()[2:], [("A", "a"), ("B", "b"), ("C\tD", "c")])

    def test_reads_standard_input_when_told_nothing_else(self):
        self.assertEqual(self.output_of("import", stdin=b"A\ta\n"), "imported\t1\n")
        self.assertEqual(self.output_of("import", "-", stdin=b"B\tb\n"), "imported\t1\n")
        self.assertEqual(self.all_items()[2:], [("A", "a"), ("B", "b")])

    def test_takes_a_file_that_is_called_like_a_command(self):
        self.assertIn("cannot open watch: ", self.complaint_of(2, "import", "watch"))

    def test_takes_an_empty_file(self):
        self.assertEqual(self.output_of("import", "/dev/null"), "imported\t0\n")

    def test_names_the_line_that_is_no_item(self):
        path, complaint = self.bad("A\ta\nB\tb\nno tab\n")
        self.assertEqual(complaint, f"{path}:3: no TAB between the name and the id; insert one")

    def test_names_the_line_of_an_unknown_escape(self):
        path, complaint = self.bad("A\\x\ta\n")
        self.assertTrue(complaint.startswith(f"{path}:1: unknown escape \\x"), complaint)

    def test_names_a_last_line_without_its_end(self):
        path, complaint = self.bad("A\ta\nB\tb")
        self.assertTrue(complaint.startswith(f"{path}:2: the last line does not end"), complaint)

    def test_names_standard_input(self):
        self.assertEqual(self.complaint_of(2, "import", stdin=b"bad\n"),
                         "standard input:1: no TAB between the name and the id; insert one")

    def test_sends_nothing_when_a_line_is_bad(self):
        partner = self.partner()
        self.bad("A\ta\nno tab\n")
        self.assertEqual(partner.events(), [])
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_reports_a_bad_line_without_a_service(self):
        self.daemon.stop()
        _, complaint = self.bad("no tab\n")
        self.assertIn("no TAB", complaint)

    def test_says_that_standard_input_cannot_be_read(self):
        folder = os.open("/tmp", os.O_RDONLY)
        self.addCleanup(os.close, folder)
        for arguments in (("import",), ("call", "AddItems", "-")):
            self.assertEqual(self.complaint_of(2, *arguments, stdin=folder),
                             "cannot read standard input: Is a directory; "
                             "give a file or a pipe that can be read")
            self.assertIn("cannot read standard input: Bad file descriptor; ",
                          self.complaint_of(2, *arguments, closed="<&-"))

    def test_says_that_a_file_is_too_long(self):
        self.assertEqual(self.complaint_of(2, "import", "/dev/zero"),
                         "/dev/zero has more than 1073741820 bytes, the most that one message can "
                         "carry; split it")

    def test_says_that_a_file_is_not_there(self):
        self.assertIn("cannot open /nonexistent/apps.txt: No such file",
                      self.complaint_of(2, "import", "/nonexistent/apps.txt"))

    def test_says_how_many_ids_were_there_already(self):
        result = self.run_tool("import", stdin=b"A\tmaps\nB\tb\nC\tb\n")
        self.assertEqual((result.status, result.out), (0, b"imported\t3\n"))
        self.assertEqual(result.err, "applistctl: 2 items have the same id as another item; "
                                     f"{FIRST_OF_AN_ID}\n")

    def test_of_what_is_new_skips_known_ids(self):
        result = self.run_tool("import", "--new", stdin=b"M\tmaps\nA\ta\nB\ta\nC\tc\n")
        self.assertEqual(result, (0, b"imported\t2\t2\n", ""))
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("A", "a"), ("C", "c")])

    def test_of_what_is_new_sends_nothing_when_nothing_is(self):
        partner = self.partner()
        self.assertEqual(self.output_of("import", "--new", stdin=b"M\tmaps\n"),
                         "imported\t0\t1\n")
        self.assertEqual(partner.events(), [])

    def test_of_lines_from_another_system_takes_them_and_says_so(self):
        path = self.file("A\ta\r\nB\tb\n")
        result = self.run_tool("import", path)
        self.assertEqual((result.status, result.out), (0, b"imported\t2\n"))
        self.assertEqual(result.err,
                         f"applistctl: {path}: 1 line ends in CR LF, and the CR belongs to the "
                         "id; if that is not meant, take it away first with tr -d '\\r'\n")
        self.assertEqual(self.all_items()[2:], [("A", "a\r"), ("B", "b")])

    def test_carries_a_large_list(self):
        lines = "".join(f"Application number {n}\torg.tessel.example.N{n}\n" for n in range(20000))
        self.assertEqual(self.output_of("import", stdin=lines.encode()), "imported\t20000\n")
        self.assertEqual(self.output_of("list"), "Maps\tmaps\nMusic\tmusic\n" + lines)


if __name__ == "__main__":
    unittest.main()
