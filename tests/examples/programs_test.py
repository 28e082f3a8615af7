# SPDX-License-Identifier: MIT

"""The examples that meet on a bus: what each publishes, prints and leaves behind."""

import signal
import unittest

from example_case import ExampleTest, program
from support import items


class Publishing:
    """What holds for every example that publishes a list, whatever its main loop."""

    name = None

    def setUp(self):
        super().setUp()
        self.service = self.publish(self.name)
        self.ui = self.partner()

    def test_publishes_three_applications(self):
        self.assertEqual(self.ui.all_items(),
                         [("Maps", "maps"), ("Music", "music"), ("Phone", "phone")])

    def test_has_a_selection_that_a_partner_moves(self):
        self.assertEqual(self.ui.selected_id(), "maps")
        self.ui.select("phone")
        self.assertEqual(self.ui.selected_id(), "phone")
        self.assertEqual(self.ui.events(), [items.ITEM_SELECTION])

    def test_announces_itself_to_a_partner_that_connects(self):
        self.ui.connect()
        self.ui.wait_for_event(items.LOCAL_CREATED)

    def test_takes_what_a_partner_adds_replaces_and_removes(self):
        self.ui.call(items.ADD_ITEMS, items.item("Radio", "radio") + items.item("Video", "video"))
        self.ui.call(items.MODIFY_ITEM, items.item("Video", "video") + items.item("Film", "film"))
        self.ui.call(items.REMOVE_ITEM, items.item("", "radio"))
        self.assertEqual(self.ui.ids(), ["maps", "music", "phone", "film"])
        self.assertEqual(self.ui.events(), [items.ITEM_CHANGE] * 3)

    def test_selects_another_item_when_a_partner_removes_the_selected_one(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "radio"))
        self.ui.select("radio")
        self.ui.call(items.REMOVE_ITEM, items.item("", "radio"))
        self.assertEqual(self.ui.selected_id(), "maps")
        self.assertEqual(self.ui.events(), [items.ITEM_CHANGE, items.ITEM_SELECTION,
                                            items.ITEM_CHANGE, items.ITEM_SELECTION])

    def test_keeps_a_selected_item_selected_when_a_partner_replaces_it(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "radio"))
        self.ui.select("radio")
        self.ui.call(items.MODIFY_ITEM, items.item("", "radio") + items.item("Tuner", "tuner"))
        self.assertEqual(self.ui.selected_id(), "tuner")

    def test_answers_an_empty_item_when_a_partner_has_emptied_the_list(self):
        self.ui.call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(self.ui.all_items(), [])
        self.assertEqual(self.ui.call(items.GET_SELECTION), items.item("", ""))
        self.ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "radio"))
        self.assertEqual(self.ui.selected_id(), "radio")

    def test_removes_the_very_item_among_two_with_one_id(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("My maps", "maps"))
        self.ui.call(items.REMOVE_ITEM, items.item("", "maps"))
        self.assertEqual(self.ui.names(), ["Maps", "Music", "Phone"])

    def test_is_named_to_another_that_wants_its_place(self):
        _, err = self.run_to_end(program("publish"), status=1)
        self.assertIn("cannot own org.tessel.Local.Applist", err)
        self.assertIn("stop that process first", err)


class Publish(Publishing, ExampleTest):
    name = "publish"


class GlibLoop(Publishing, ExampleTest):
    name = "glib_loop"


class PollLoop(Publishing, ExampleTest):
    name = "poll_loop"

    def test_selects_the_next_item_at_its_key_and_the_first_after_the_last(self):
        for selected in ("music", "phone", "maps"):
            self.service.send_signal(signal.SIGUSR1)
            self.ui.wait_for_event(items.ITEM_SELECTION)
            self.assertEqual(self.ui.selected_id(), selected)


class Next(ExampleTest):
    def test_selects_the_next_item_and_the_first_after_the_last(self):
        self.publish()
        ui = self.partner()
        for name in ("Music", "Phone", "Maps"):
            self.assertEqual(self.run_to_end(program("next")), (name + "\n", ""))
            self.assertEqual(ui.selected_id(), name.lower())

    def test_fails_where_there_is_nothing_to_select(self):
        self.publish()
        self.partner().call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(self.run_to_end(program("next"), status=1)[0], "")


class Add(ExampleTest):
    def test_adds_and_selects_an_application_and_shows_the_list(self):
        self.publish()
        out, _ = self.run_to_end(program("add"))
        self.assertEqual(out, "Maps\nMusic\nPhone\nRadio\n")
        ui = self.partner()
        self.assertEqual(ui.all_items()[3:], [("Radio", "radio")])
        self.assertEqual(ui.selected_id(), "radio")

    def test_says_that_nobody_publishes_a_list_and_fails(self):
        out, err = self.run_to_end(program("add"), status=1)
        self.assertEqual(out, "")
        self.assertIn("Applist: nobody owns org.tessel.Local.Applist", err)
        self.assertIn("start the service, then try again", err)


class Follow(ExampleTest):
    def test_shows_the_service_the_items_and_the_selection(self):
        screen = self.start("follow")
        self.publish()
        screen.out.wait_for("service: there")
        self.assertEqual(screen.out.wait_for("items:"), "items: Maps Music Phone")
        self.assertEqual(screen.out.wait_for("selected:"), "selected: Maps")

    def test_shows_what_a_partner_changes(self):
        self.publish()
        screen = self.start("follow")
        screen.out.wait_for("items: Maps Music Phone")
        self.run_to_end(program("add"))
        screen.out.wait_for("items: Maps Music Phone Radio")
        screen.out.wait_for("selected: Radio")

    def test_follows_a_service_that_ends_and_comes_back(self):
        service = self.publish()
        screen = self.start("follow")
        screen.out.wait_for("items: Maps Music Phone")
        self.end(service)
        screen.out.wait_for("service: gone")
        self.publish("glib_loop")
        screen.out.wait_for("service: there")
        screen.out.wait_for("items: Maps Music Phone")

    def test_shows_no_control_characters_of_a_name(self):
        self.publish()
        screen = self.start("follow")
        screen.out.wait_for("items: Maps Music Phone")
        self.partner().call(items.ADD_ITEM_AT_END, items.item("\x1b[2J", "evil"))
        screen.out.wait_for(r"items: Maps Music Phone \x1b[2J")


class Keep(ExampleTest):
    def test_adds_its_item_to_each_service_that_comes(self):
        self.start("keep")
        for publisher in ("publish", "glib_loop"):
            service = self.publish(publisher)
            ui = self.partner()
            ui.wait_for_event(items.ITEM_CHANGE)
            self.assertEqual(ui.all_items()[3:], [("Clock", "clock")])
            self.end(service)

    def test_adds_nothing_to_a_list_that_has_its_item(self):
        self.publish()
        ui = self.partner()
        ui.call(items.ADD_ITEM_AT_END, items.item("My clock", "clock"))
        self.start("keep")
        self.run_to_end(program("add"))  # later than whatever it may have added
        self.assertEqual(ui.names(), ["Maps", "Music", "Phone", "My clock", "Radio"])


if __name__ == "__main__":
    unittest.main()
