# SPDX-License-Identifier: MIT

"""JSON as another program reads it."""

import json
import subprocess
import unittest

from support import items
from support.processes import DEADLINE
from tool import ToolTest, item_bytes

MAPS = {"name": "Maps", "id": "maps"}
MUSIC = {"name": "Music", "id": "music"}


class Json(ToolTest):
    def parsed(self, *arguments, **more):
        return json.loads(self.output_of(*arguments, "--json", **more))

    def test_of_the_list_is_an_array_that_marks_the_selection(self):
        self.assertEqual(self.parsed("list"), [dict(MAPS, selected=True),
                                               dict(MUSIC, selected=False)])

    def test_of_the_selection_is_one_object(self):
        self.assertEqual(self.parsed("selection"), MAPS)

    def test_of_an_edit_says_what_happened(self):
        self.assertEqual(self.parsed("select", "music"), dict(MUSIC, event="selected"))
        self.assertEqual(self.parsed("add", "Mail", "mail"),
                         {"event": "added", "name": "Mail", "id": "mail"})
        self.assertEqual(self.parsed("replace", "mail", "Post", "post"),
                         {"event": "replaced", "name": "Post", "id": "post",
                          "old_name": "Mail", "old_id": "mail"})
        self.assertEqual(self.parsed("remove", "post"),
                         {"event": "removed", "name": "Post", "id": "post"})

    def test_of_an_edit_of_many_counts(self):
        self.assertEqual(self.parsed("import", stdin=b"A\ta\nB\tb\n"),
                         {"event": "imported", "count": 2})
        self.assertEqual(self.parsed("clear", "--yes"), {"event": "cleared", "count": 4})

    def test_of_an_import_of_what_is_new_counts_what_was_skipped(self):
        self.assertEqual(self.parsed("import", "--new", stdin=b"A\ta\nMaps\tmaps\n"),
                         {"event": "imported", "count": 1, "skipped": 1})

    def test_of_a_synchronization_counts_what_was_done(self):
        self.output_of("import", stdin=b"A\ta\nB\tb\nD\td\n")
        wanted = b"Maps\tmaps\nMusic\tmusic\nBB\tb\nC\tc\nA\ta\n"
        self.assertEqual(self.parsed("sync", "-", stdin=wanted),
                         {"event": "synced", "added": 1, "removed": 1, "replaced": 1, "moved": 1})

    def test_of_a_status_is_one_object(self):
        status = self.parsed("status")
        self.assertEqual(list(status), ["bus", "owner", "pid", "program", "items", "selection",
                                        "partners", "serial"])
        self.assertEqual((status["pid"], status["items"], status["selection"], status["partners"]),
                         (self.daemon.process.pid, 2, MAPS, 0))

    def test_of_a_followed_selection_is_one_object_a_line(self):
        follower = self.popen("selection", "--follow", "--count=2", "--json=pretty",
                              stdout=subprocess.PIPE)
        self.assertEqual(json.loads(follower.stdout.readline()), MAPS)
        self.output_of("clear", "--yes")
        self.assertEqual(follower.communicate(timeout=DEADLINE), ("null\n", ""))

    def test_of_a_reply_is_its_items(self):
        self.assertEqual(self.parsed("call", "2002"), [MAPS, MUSIC])
        self.assertEqual(self.parsed("call", "2004"), [])

    def test_of_an_empty_list_is_an_empty_array(self):
        self.output_of("clear", "--yes")
        self.assertEqual(self.parsed("list"), [])

    def test_of_no_selection_is_null(self):
        self.output_of("clear", "--yes")
        self.assertIn("nothing is selected", self.complaint_of(1, "selection", "-j", out="null\n"))

    def test_takes_one_line_in_a_pipe(self):
        self.assertEqual(self.output_of("selection", "-j"), '{"name":"Maps","id":"maps"}\n')
        self.assertEqual(self.output_of("selection", "--json=short"),
                         '{"name":"Maps","id":"maps"}\n')

    def test_is_indented_on_a_terminal_and_on_request(self):
        pretty = '{\n  "name": "Maps",\n  "id": "maps"\n}\n'
        self.assertEqual(self.on_terminal("selection", "-j"), pretty)
        self.assertEqual(self.output_of("selection", "--json=pretty"), pretty)
        self.assertEqual(self.on_terminal("selection", "--json=short"),
                         '{"name":"Maps","id":"maps"}\n')

    def test_replaces_what_is_not_utf_8(self):
        self.partner().call(items.ADD_ITEM_AT_END, item_bytes(b"caf\xe9 \xc3", b"\xff"))
        added = self.parsed("list")[2]
        self.assertEqual((added["name"], added["id"]), ("caf\ufffd \ufffd", "\ufffd"))

    def test_of_an_edit_replaces_it_too(self):
        self.assertEqual(self.parsed("add", b"\xff", b"x")["name"], "\ufffd")

    def test_carries_everything_that_is_utf_8(self):
        name = "".join(map(chr, range(1, 256))) + "\u2028\U0001f5fa\"\\"
        self.partner().call(items.ADD_ITEM_AT_END, items.item(name + "\0", "all"))
        self.assertEqual(self.parsed("list")[2]["name"], name + "\0")

    def test_of_a_watch_is_one_object_a_line_even_when_it_shall_be_pretty(self):
        watch = self.watch("--json=pretty", "--count=3")
        self.output_of("select", "music")
        self.assertEqual(json.loads(watch.next()), dict(MUSIC, event="selected"))
        self.output_of("import", stdin=b"A\ta\nB\tb\n")
        self.assertEqual(json.loads(watch.next()), {"event": "added", "name": "A", "id": "a"})
        self.assertEqual(json.loads(watch.next()), {"event": "added", "name": "B", "id": "b"})
        self.assertEqual(watch.wait(), 0)


if __name__ == "__main__":
    unittest.main()
