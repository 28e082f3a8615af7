# SPDX-License-Identifier: MIT

"""call: one function of the protocol, as it is."""

import unittest

from support import items
from tool import MAPS, MUSIC, ToolTest, item_bytes


class ACall(ToolTest):
    def test_takes_a_function_by_number_and_by_name(self):
        for function in ("2001", "GetSelection"):
            self.assertEqual(self.output_of("call", function), "Maps\tmaps\n")

    def test_takes_a_payload_with_escapes_as_for_printf(self):
        self.assertEqual(self.output_of("call", "2004", "A\\ta\\nB\\tb\\n"), "")
        self.assertEqual(self.all_items()[2:], [("A", "a"), ("B", "b")])

    def test_undoes_one_level_of_escapes(self):
        self.output_of("call", "2005", "a\\\\tb\\\\\\\\c\\td\\n")
        self.assertEqual(self.all_items()[2:], [("a\tb\\c", "d")])

    def test_leaves_other_backslashes_alone(self):
        self.output_of("call", "2005", "\\\\\\\\x\\tx\\n")
        self.assertEqual(self.all_items()[2:], [("\\x", "x")])

    def test_takes_a_payload_from_standard_input_as_it_is(self):
        payload = item_bytes(b"\xff\x00", b"x")
        self.output_of("call", "2005", "-", stdin=payload)
        self.assertEqual(self.partner().call(items.GET_ALL_ITEMS).splitlines(keepends=True)[2],
                         payload)

    def test_reads_no_standard_input_unasked(self):
        self.output_of("call", "2004", stdin=b"A\ta\n")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_sends_what_is_no_item_when_asked(self):
        self.output_of("call", "--raw", "2004", "A\\ta\\nB\\tb")
        self.assertEqual(self.all_items()[2:], [("A", "a")])
        self.output_of("call", "2005", "garbage", "--raw")
        self.assertEqual(self.all_items()[3:], [("", "")])
        self.assertEqual(self.output_of("call", "--raw", "2001", "garbage"), "Maps\tmaps\n")

    def test_sends_no_item_that_is_none(self):
        for payload, why in (("garbage", "the last line does not end with a line feed; add one"),
                             ("garbage\\n", "no TAB between the name and the id; insert one")):
            for function in ("2000", "2004", "AddItemAtEnd", "2006", "2007", "2008"):
                self.assertEqual(self.complaint_of(2, "call", function, payload),
                                 f"the payload:1: {why}, or send it as it is with --raw")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_sends_no_number_of_items_that_the_function_does_not_take(self):
        item = "A\\ta\\n"
        for function, payload, why in (
                ("SetSelection", "", "takes one item, and the payload holds none"),
                ("AddItemAtEnd", item * 2, "takes one item, and the payload holds 2"),
                ("RemoveItem", item * 3, "takes one item, and the payload holds 3"),
                ("ModifyItem", item, "takes two items, and the payload holds 1"),
                ("GetAllItems", item, "takes no items, and the payload holds 1"),
                ("GetSelection", item, "takes no items, and the payload holds 1"),
                ("RemoveAllItems", item, "takes no items, and the payload holds 1")):
            self.assertEqual(self.complaint_of(2, "call", function, payload),
                             f"{function} {why}; give as many, or send it all the same with --raw")
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_sends_anything_to_a_function_that_is_not_known(self):
        self.assertEqual(self.run_tool("call", "77", "garbage").status, 0)

    def test_of_a_click_is_made_and_said_not_to_be_carried_out(self):
        partner = self.partner()
        for payload in ((), ("\\tmaps\\n",)):
            result = self.run_tool("call", "SetClicked", *payload)
            self.assertEqual((result.status, result.out), (0, b""))
            self.assertEqual(result.err,
                             "applistctl: services do not carry out clicks of partners; click "
                             "where the list is shown, or select\n")
        self.assertEqual(partner.events(), [])

    def test_does_every_function(self):
        self.output_of("call", "SetSelection", "\\tmusic\\n")
        self.assertEqual(self.output_of("call", "GetSelection"), "Music\tmusic\n")
        self.output_of("call", "AddItemAtEnd", "A\\ta\\n")
        self.output_of("call", "AddItems", "B\\tb\\nC\\tc\\n")
        self.output_of("call", "RemoveItem", "\\tb\\n")
        self.output_of("call", "ModifyItem", "\\tc\\nD\\td\\n")
        self.assertEqual(self.run_tool("call", "SetClicked", "\\tmaps\\n").status, 0)
        self.assertEqual(self.output_of("call", "GetAllItems"),
                         "Maps\tmaps\nMusic\tmusic\nA\ta\nD\td\n")
        self.output_of("call", "RemoveAllItems")
        self.assertEqual(self.output_of("call", "GetAllItems"), "")

    def test_of_an_unknown_number_is_made_and_noted(self):
        for number in ("77", "-1", "2009"):
            result = self.run_tool("call", "--", number)
            self.assertEqual((result.status, result.out), (0, b""))
            self.assertIn(f"{number} is not a function of this version", result.err)

    def test_of_a_number_that_is_none_is_refused(self):
        for number in ("2147483648", "2002x", "0x7d2"):
            self.assertIn("unknown function " + number, self.complaint_of(2, "call", number))


class ACallThatIsNotAnsweredWithItems(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.script("2002=\\x1b[2Jno item")

    def test_shows_its_bytes(self):
        self.assertEqual(self.output_of("call", "2002"), "\x1b[2Jno item")

    def test_shows_them_as_text_on_a_terminal(self):
        self.assertEqual(self.on_terminal("call", "2002"), "\\x1b[2Jno item\n")

    def test_shows_them_as_a_string_in_json(self):
        self.assertEqual(self.output_of("call", "2002", "--json"), '"\\u001b[2Jno item"\n')


if __name__ == "__main__":
    unittest.main()
