# SPDX-License-Identifier: MIT

"""All nine functions, driven by clients that know D-Bus and nothing of this project."""

import unittest

from support import foreign, items
from support.case import AppTest

MAPS = items.item("Maps", "maps")
MUSIC = items.item("Music", "music")
MAIL = items.item("Mail", "mail")
NEWS = items.item("News", "news")
NOTHING = items.item("", "")


class AForeignClient:
    """The tests that every client goes through; `client_class` says which one."""

    client_class = None

    def setUp(self):
        super().setUp()
        self.start("--items", self.file((MAPS + MUSIC).decode()))
        self.client = self.client_class(self.bus)
        self.addCleanup(self.client.close)

    def call(self, function, payload=b""):
        return self.client.call(function, payload)

    def assert_list(self, expected):
        self.assertEqual(self.call(items.GET_ALL_ITEMS), expected)

    def assert_events(self, *expected):
        self.assertEqual([self.client.next_event() for _ in expected], list(expected))

    def test_moves_the_selection_with_2000(self):
        self.assertEqual(self.call(items.SET_SELECTION, MUSIC), b"")
        self.assert_events(items.ITEM_SELECTION)
        self.assertEqual(self.call(items.GET_SELECTION), MUSIC)

    def test_reads_the_selection_with_2001(self):
        self.assertEqual(self.call(items.GET_SELECTION), MAPS)

    def test_reads_the_list_with_2002(self):
        self.assertEqual(self.call(items.GET_ALL_ITEMS), MAPS + MUSIC)

    def test_empties_the_list_with_2003(self):
        self.assertEqual(self.call(items.REMOVE_ALL_ITEMS), b"")
        self.assert_events(items.ITEM_CHANGE, items.ITEM_SELECTION)
        self.assert_list(b"")
        self.assertEqual(self.call(items.GET_SELECTION), NOTHING)

    def test_adds_several_items_with_2004(self):
        self.assertEqual(self.call(items.ADD_ITEMS, MAIL + NEWS), b"")
        self.assert_events(items.ITEM_CHANGE)
        self.assert_list(MAPS + MUSIC + MAIL + NEWS)

    def test_adds_one_item_with_2005(self):
        self.assertEqual(self.call(items.ADD_ITEM_AT_END, MAIL), b"")
        self.assert_events(items.ITEM_CHANGE)
        self.assert_list(MAPS + MUSIC + MAIL)

    def test_clicks_nothing_with_2006(self):
        self.assertEqual(self.call(items.SET_CLICKED, MUSIC), b"")
        self.call(items.SET_SELECTION, MUSIC)
        # A click of the call before would have been heard first.
        self.assert_events(items.ITEM_SELECTION)
        self.assert_list(MAPS + MUSIC)

    def test_removes_what_it_added_with_2007(self):
        self.call(items.ADD_ITEMS, MAIL + NEWS)
        self.assertEqual(self.call(items.REMOVE_ITEM, items.item("", "mail")), b"")
        self.assert_events(items.ITEM_CHANGE, items.ITEM_CHANGE)
        self.assert_list(MAPS + MUSIC + NEWS)

    def test_does_not_remove_the_machines_own_with_2007(self):
        self.assertEqual(self.call(items.REMOVE_ITEM, MAPS), b"")
        self.assert_list(MAPS + MUSIC)

    def test_replaces_what_it_added_with_2008(self):
        self.call(items.ADD_ITEM_AT_END, MAIL)
        self.assertEqual(self.call(items.MODIFY_ITEM, MAIL + NEWS), b"")
        self.assert_events(items.ITEM_CHANGE, items.ITEM_CHANGE)
        self.assert_list(MAPS + MUSIC + NEWS)


class AClientOnBusctl(AForeignClient, AppTest):
    client_class = foreign.Busctl


class AClientOnGdbus(AForeignClient, AppTest):
    client_class = foreign.Gdbus


class AClientOnDbusSend(AForeignClient, AppTest):
    client_class = foreign.DbusSend


class AClientOnPythonDbus(AForeignClient, AppTest):
    client_class = foreign.PythonDbus


class AClientOnAChannel(AForeignClient, AppTest):
    client_class = foreign.PythonGioOnAChannel


if __name__ == "__main__":
    unittest.main()
