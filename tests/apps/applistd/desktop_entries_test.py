# SPDX-License-Identifier: MIT

"""The applications of a machine as a partner sees them, while they are installed and removed."""

import itertools
import os
import shutil
import unittest

from support import items
from support.case import AppTest

EXAMPLES = os.environ["APPLIST_EXAMPLES"]
READ_AGAIN = "applications are installed now"


class AMachineWithThreeApplications(AppTest):
    def setUp(self):
        super().setUp()
        self.installed = self.machine()
        # Neither the order of the ids nor that of the installation is that of the names.
        self.installed.install("a.desktop", "Music")
        self.installed.install("b.desktop", "Calculator")
        self.installed.install("c.desktop", "Maps")
        self.daemon = self.start("--verbose", environment=self.installed.environment())
        self.ui = self.partner()

    def test_publishes_them_sorted_by_name(self):
        self.assertEqual(self.ui.all_items(), [("Calculator", "b.desktop"), ("Maps", "c.desktop"),
                                               ("Music", "a.desktop")])

    def test_selects_the_first(self):
        self.assertEqual(self.ui.selected_id(), "b.desktop")

    def test_says_at_its_start_how_many_there_are_and_where(self):
        line = self.daemon.err.wait_for("Publishing")
        self.assertIn("Publishing 3 applications on ", line)
        self.assertIn(self.bus.address.split(",")[0], line)

    def test_announces_itself_to_a_partner_that_connects(self):
        self.ui.connect()
        self.assertEqual(self.ui.wait_for_event(items.LOCAL_CREATED), [items.LOCAL_CREATED])

    def test_adds_one_that_is_installed(self):
        self.installed.install("d.desktop", "Mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.names(), ["Calculator", "Mail", "Maps", "Music"])

    def test_removes_one_that_is_uninstalled(self):
        self.installed.uninstall("c.desktop")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.names(), ["Calculator", "Music"])

    def test_follows_one_that_comes_and_goes_again_and_again(self):
        for _ in range(3):
            self.installed.install("d.desktop", "Mail")
            self.ui.wait_for_event(items.ITEM_CHANGE)
            self.assertIn("d.desktop", self.ui.ids())
            self.installed.uninstall("d.desktop")
            self.ui.wait_for_event(items.ITEM_CHANGE)
            self.assertNotIn("d.desktop", self.ui.ids())

    def test_follows_a_folder_of_the_user_too(self):
        entry = os.path.join(self.installed.user, "applications", "mine.desktop")
        os.symlink(self.installed.path("a.desktop"), entry)
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertIn("mine.desktop", self.ui.ids())

    def test_keeps_the_selection_while_others_come_and_go(self):
        self.ui.select("c.desktop")
        self.installed.install("d.desktop", "Mail")
        self.installed.uninstall("b.desktop")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.ids(), ["d.desktop", "c.desktop", "a.desktop"])
        self.assertEqual(self.ui.selected_id(), "c.desktop")

    def test_selects_the_next_when_the_selected_one_is_uninstalled(self):
        self.ui.select("c.desktop")
        self.ui.events()
        self.installed.uninstall("c.desktop")
        self.assertEqual(self.ui.wait_for_event(items.ITEM_SELECTION),
                         [items.ITEM_CHANGE, items.ITEM_SELECTION])
        self.assertEqual(self.ui.selected_id(), "a.desktop")

    def test_shows_a_new_name_and_keeps_the_selection_on_it(self):
        self.ui.select("c.desktop")
        self.installed.install("c.desktop", "Atlas")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.names(), ["Atlas", "Calculator", "Music"])
        self.assertEqual(self.ui.selected_id(), "c.desktop")

    def test_says_nothing_when_nothing_that_shows_has_changed(self):
        self.installed.install("hidden.desktop", "Hidden", more="NoDisplay=true\n")
        self.daemon.err.wait_for(READ_AGAIN)
        self.assertEqual(self.ui.events(), [])

    def test_tells_once_of_many_that_are_installed_together(self):
        for number in range(20):
            self.installed.install(f"many{number}.desktop", f"Many {number}")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(len(self.ui.all_items()), 23)
        self.assertEqual(self.ui.events(), [])

    def test_tells_of_changes_that_never_pause(self):
        number = itertools.count()
        self.ui.wait_for_event(
            items.ITEM_CHANGE,
            meanwhile=lambda: self.installed.install("d.desktop", f"Mail {next(number)}"))
        self.assertGreater(next(number), 20, "the news came before there was a second of changes")
        self.assertIn("d.desktop", self.ui.ids())

    def test_leaves_a_half_written_entry_out_until_it_is_whole(self):
        self.installed.write("d.desktop", "[Desktop Entry]\nType=Application\nNa")
        self.daemon.err.wait_for(READ_AGAIN)
        self.assertEqual(len(self.ui.all_items()), 3)
        self.installed.install("d.desktop", "Mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertIn("d.desktop", self.ui.ids())

    def test_leaves_an_entry_out_whose_name_is_not_written_yet(self):
        self.installed.write("d.desktop", "[Desktop Entry]\nType=Application\nExec=sh\n")
        self.daemon.err.wait_for(READ_AGAIN)
        self.assertNotIn("d.desktop", self.ui.ids())

    def test_leaves_an_entry_out_whose_name_is_no_text(self):
        with open(self.installed.path("d.desktop"), "wb") as entry:
            entry.write(b"[Desktop Entry]\nType=Application\nName=\xff\xfe\nExec=sh\n")
        self.daemon.err.wait_for(READ_AGAIN)
        self.assertNotIn("d.desktop", self.ui.ids())

    def test_has_items_of_the_partner_after_its_own(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("A", "a"))
        self.installed.install("z.desktop", "Zither")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.ids(),
                         ["b.desktop", "c.desktop", "a.desktop", "z.desktop", "a"])

    def test_stays_away_after_a_remove_all_until_something_is_installed(self):
        self.ui.call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(self.ui.all_items(), [])
        self.assertEqual(self.ui.selected_id(), "")
        self.ui.events()
        self.installed.install("d.desktop", "Mail")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items(), [("Mail", "d.desktop")])
        self.assertEqual(self.ui.selected_id(), "d.desktop")


class AMachineWithApplicationsThatAskNotToBeShown(AppTest):
    def publish(self, more, environment=None, program="sh"):
        installed = self.machine()
        installed.install("shown.desktop", "Shown")
        installed.install("asks.desktop", "Asks", program=program, more=more)
        self.start(environment=installed.environment(**(environment or {})))
        return self.partner().ids()

    def test_leaves_a_hidden_one_out(self):
        self.assertEqual(self.publish("Hidden=true\n"), ["shown.desktop"])

    def test_leaves_one_without_display_out(self):
        self.assertEqual(self.publish("NoDisplay=true\n"), ["shown.desktop"])

    def test_leaves_one_for_another_desktop_out(self):
        self.assertEqual(self.publish("OnlyShowIn=Elsewhere;\n"), ["shown.desktop"])

    def test_shows_one_for_this_desktop(self):
        self.assertIn("asks.desktop", self.publish("OnlyShowIn=Tests;\n"))

    def test_leaves_one_out_that_this_desktop_does_not_want(self):
        self.assertEqual(self.publish("NotShowIn=Tests;\n"), ["shown.desktop"])

    def test_leaves_one_out_whose_program_is_missing(self):
        self.assertEqual(self.publish("", program="no-such-program-anywhere"), ["shown.desktop"])


class AMachineWithoutApplications(AppTest):
    def test_publishes_an_empty_list_with_a_selection(self):
        self.start(environment=self.machine().environment())
        ui = self.partner()
        self.assertEqual(ui.all_items(), [])
        self.assertEqual(items.items(ui.call(items.GET_SELECTION)), [("", "")])

    def test_selects_the_first_that_is_installed(self):
        installed = self.machine()
        self.start(environment=installed.environment())
        ui = self.partner()
        installed.install("first.desktop", "First")
        self.assertEqual(ui.wait_for_event(items.ITEM_SELECTION),
                         [items.ITEM_CHANGE, items.ITEM_SELECTION])
        self.assertEqual(ui.selected_id(), "first.desktop")

    def test_notices_a_folder_of_entries_that_did_not_exist(self):
        installed = self.machine()
        data = os.path.join(installed.root, "later")
        self.start(environment=installed.environment(XDG_DATA_DIRS=data))
        ui = self.partner()
        os.rename(installed.system, data)
        installed.system = data
        installed.install("first.desktop", "First")
        ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(ui.ids(), ["first.desktop"])


class TheExampleApplications(AppTest):
    def names_in(self, language):
        installed = self.machine()
        # A copy, since a daemon in a sandbox does not see every place that the sources may be in.
        data = shutil.copytree(EXAMPLES, os.path.join(installed.root, "examples"))
        self.start(environment=installed.environment(XDG_DATA_DIRS=data, LANGUAGE=language))
        return self.partner().names()

    def test_are_published_on_any_machine(self):
        self.assertEqual(self.names_in(""), ["Clock", "Disk Space", "Files", "Packages", "Shell",
                                             "System Information"])

    def test_have_german_names_for_a_german_user(self):
        self.assertEqual(self.names_in("de"), ["Dateien", "Eingabeaufforderung", "Pakete",
                                               "Speicherplatz", "Systeminformationen", "Uhr"])


if __name__ == "__main__":
    unittest.main()
