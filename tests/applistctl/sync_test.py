# SPDX-License-Identifier: MIT

"""sync: what partners added becomes what a file says."""

import unittest

from support import items
from tool import MAPS, MUSIC, TWO_ITEMS, ToolTest, add

A, B, C = ("A", "a"), ("B", "b"), ("C", "c")


def text_of(*entries):
    return "".join(f"{name}\t{unique_id}\n" for name, unique_id in entries)


class ASynchronization(ToolTest):
    def setUp(self):
        super().setUp()
        self.ui = self.partner()

    def add(self, *entries):
        self.ui.call(items.ADD_ITEMS, b"".join(items.item(*each) for each in entries))
        self.ui.events()

    def sync(self, *entries, err="", options=()):
        result = self.run_tool("sync", *options, "-", stdin=text_of(*entries).encode())
        self.assertEqual((result.status, result.err), (0, err))
        return result.out.decode()

    def kept(self, count):
        stay = "item stays that is" if count == 1 else "items stay that are"
        return (f"applistctl: {count} {stay} not in standard input: the service keeps what no "
                "partner added\n")

    RENAMED = ("applistctl: 1 item has another name than in standard input: the service keeps "
               "what no partner added\n")

    def test_adds_removes_replaces_and_moves(self):
        self.add(A, B, ("D", "d"))
        self.assertEqual(self.sync(MAPS, MUSIC, ("BB", "b"), C, A), "synced\t1\t1\t1\t1\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("BB", "b"), C, A])

    def test_brings_back_what_list_printed(self):
        self.add(A, B, C)
        path = self.file(self.output_of("list"))
        self.output_of("remove", "a")
        self.output_of("add", "X", "x")
        self.output_of("remove", "b")
        self.output_of("add", "Other", "b")
        self.output_of("sync", path)
        self.assertEqual(self.all_items(), [MAPS, MUSIC, A, B, C])

    def test_brings_back_what_was_cleared_from_a_service_that_was_started_again(self):
        self.add(A, B)
        path = self.file(self.output_of("list"))
        self.daemon.stop()
        self.serve(TWO_ITEMS)
        self.assertEqual(self.output_of("sync", path), "synced\t2\t0\t0\t0\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, A, B])

    def test_sends_no_edit_when_nothing_is_to_be_done(self):
        self.add(A, B)
        for _ in range(2):
            self.assertEqual(self.sync(MAPS, MUSIC, A, B), "synced\t0\t0\t0\t0\n")
        self.assertEqual(self.ui.events(), [])

    def test_changes_nothing_the_second_time(self):
        self.add(A, B)
        wanted = (MUSIC, ("Atlas", "maps"), B, C, A)
        self.assertEqual(self.sync(*wanted, err=self.RENAMED), "synced\t1\t0\t0\t1\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, B, C, A])
        self.ui.events()
        self.assertEqual(self.sync(*wanted, err=self.RENAMED), "synced\t0\t0\t0\t0\n")
        self.assertEqual(self.ui.events(), [])

    def test_keeps_what_is_the_services_own_and_says_so(self):
        self.assertEqual(self.sync(A, err=self.kept(2)), "synced\t1\t0\t0\t0\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC, A])

    def test_adds_the_services_own_items_no_second_time(self):
        self.assertEqual(self.sync(("Atlas", "maps"), MUSIC, err=self.RENAMED),
                         "synced\t0\t0\t0\t0\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_says_apart_what_has_another_name_and_what_the_file_lacks(self):
        self.sync(("Atlas", "maps"), err=self.kept(1) + self.RENAMED)

    def test_keeps_the_selection_of_an_item_that_it_moves_or_renames(self):
        self.add(A, B)
        self.ui.select("a")
        self.sync(MAPS, MUSIC, B, A)
        self.assertEqual(self.ui.selected_id(), "a")
        self.sync(MAPS, MUSIC, B, ("AA", "a"))
        self.assertEqual(self.ui.selected_id(), "a")
        self.sync(MAPS, MUSIC, B)
        self.assertNotEqual(self.ui.selected_id(), "a")

    def test_removes_all_that_partners_added_for_an_empty_file_when_told_to(self):
        self.add(A, A, B)
        self.assertEqual(self.sync(options=("--yes",), err=self.kept(2)),
                         "synced\t0\t3\t0\t0\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_takes_a_file_from_another_system_byte_by_byte_and_says_so(self):
        result = self.run_tool("sync", "-", stdin=TWO_ITEMS.encode() + b"A\ta\r\n")
        self.assertEqual((result.status, result.out), (0, b"synced\t1\t0\t0\t0\n"))
        self.assertIn("1 line ends in CR LF", result.err)
        self.assertEqual(self.all_items()[2:], [("A", "a\r")])

    def test_changes_nothing_for_a_bad_file(self):
        self.add(A)
        path = self.file("Maps\tmaps\nno tab\n")
        self.assertEqual(self.complaint_of(2, "sync", path),
                         f"{path}:2: no TAB between the name and the id; insert one")
        self.assertIn("cannot open /nonexistent/apps.txt: ",
                      self.complaint_of(2, "sync", "/nonexistent/apps.txt"))
        self.assertEqual((self.all_items(), self.ui.events()), ([MAPS, MUSIC, A], []))

    def test_carries_large_lists(self):
        old = [(f"Application {n}", f"org.tessel.example.N{n}") for n in range(3000)]
        new = old[:1500] + [(f"Other {n}", f"org.tessel.example.O{n}") for n in range(1500)]
        self.sync(MAPS, MUSIC, *old)
        self.assertEqual(self.sync(MAPS, MUSIC, *new, options=("--timeout=60",)),
                         "synced\t1500\t1500\t0\t0\n")
        self.assertEqual(self.output_of("list"), text_of(MAPS, MUSIC, *new))


class ADryRun(ToolTest):
    def test_prints_the_edits_and_makes_none(self):
        partner = self.partner()
        for entry in (A, B):
            add(partner, *entry)
        partner.events()
        path = self.file(text_of(MAPS, MUSIC, ("BB", "b"), C))
        for option in ("--dry-run", "-n"):
            result = self.run_tool("sync", option, path)
            self.assertEqual((result.status, result.out),
                             (0, b"remove\tA\ta\nremove\tB\tb\nadd\tBB\tb\nadd\tC\tc\n"))
            self.assertEqual(result.err, "applistctl: of these, the service keeps what no partner "
                                         "added, and it is not added again\n")
        self.assertEqual(partner.events(), [])
        self.assertEqual(self.all_items(), [MAPS, MUSIC, A, B])

    def test_prints_nothing_when_there_is_nothing_to_do(self):
        self.assertEqual(self.output_of("sync", "-n", "-", stdin=TWO_ITEMS.encode()), "")

    def test_takes_an_empty_file(self):
        self.assertEqual(self.run_tool("sync", "-n", "/dev/null").out,
                         b"remove\tMaps\tmaps\nremove\tMusic\tmusic\n")

    def test_is_one_object_a_line_in_json(self):
        self.assertEqual(self.output_of("sync", "-n", "--json=pretty", "-",
                                        stdin=(TWO_ITEMS + "A\ta\n").encode()),
                         '{"event":"add","name":"A","id":"a"}\n')


class ASynchronizationThatTheServiceIgnores(ToolTest):
    ITEMS = None

    def test_says_what_was_not_added(self):
        self.script()
        self.assertEqual(self.complaint_of(1, "sync", "-", stdin=text_of(A, B, MAPS).encode()),
                         "2 of the items in standard input are not in the list; the log of the "
                         "service may say why")


class AListThatCannotGrow(ToolTest):
    ITEMS = None

    def test_is_told(self):
        self.start("--items", self.file(TWO_ITEMS), "--max-items=1")
        path = self.file(TWO_ITEMS + text_of(A, B))
        self.assertEqual(self.complaint_of(1, "sync", path),
                         f"2 of the items in {path} are not in the list; the log of the service "
                         "may say why")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_has_again_what_was_removed_for_the_new_items(self):
        self.start("--items", self.file(TWO_ITEMS), "--max-items=3")
        partner = self.partner()
        for entry in (A, B, C):
            add(partner, *entry)
        partner.select("b")
        for wanted, missing, removed in (
                ((MAPS, MUSIC, ("X", "x"), A, B, ("Y", "y")), "2 of the items in standard input "
                 "are", "3 that were removed are"),
                ((MAPS, MUSIC, A, B, C, ("X", "x")), "1 of the items in standard input is", ""),
                ((MAPS, MUSIC, A, B, ("Y", "y"), C), "1 of the items in standard input is",
                 "1 that was removed is")):
            said = removed and f", and {removed} there again"
            self.assertEqual(
                self.complaint_of(1, "sync", "-", stdin=text_of(*wanted).encode()),
                f"{missing} not in the list{said}; the log of the service may say why")
            self.assertEqual(self.all_items(), [MAPS, MUSIC, A, B, C])
            self.assertEqual(partner.selected_id(), "b")


if __name__ == "__main__":
    unittest.main()
