# SPDX-License-Identifier: MIT

"""A file of items that changes under applistd, and SIGHUP: what is read again, and what is not."""

import itertools
import os
import signal
import subprocess
import tempfile
import time
import unittest

from support import items
from support.case import AppTest

MAPS, MUSIC, NEWS = ("Maps", "maps"), ("Music", "music"), ("News", "news")
READ_AGAIN = "items are in"
NOT_READ = "Error while reading the items again, which stay as they were: "


def text(*listed):
    return b"".join(items.item(*each) for each in listed)


class ReloadTest(AppTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory(prefix="applistd-reload-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.items = self.path("items")

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, *listed, to="items"):
        with open(self.path(to), "wb") as out:
            out.write(text(*listed))

    def publish(self, *listed, path=None):
        self.write(*listed)
        self.follow(path or self.items)

    def follow(self, path):
        self.daemon = self.start("--items", path, environment={"APPLIST_LOG": "info"})
        self.ui = self.partner()


class AFileOfItemsThatChanges(ReloadTest):
    def setUp(self):
        super().setUp()
        self.publish(MAPS, MUSIC)

    def assert_becomes(self, *listed):
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items(), list(listed))

    def test_is_read_again_when_it_is_written(self):
        self.write(MAPS, MUSIC, NEWS)
        self.assert_becomes(MAPS, MUSIC, NEWS)

    def test_is_read_again_each_time_when_it_is_replaced(self):
        for listed in ((NEWS, MAPS), (MAPS,), (MUSIC, MAPS)):
            self.write(*listed, to="new")
            os.rename(self.path("new"), self.items)
            self.assert_becomes(*listed)

    def test_is_read_again_when_it_is_made_again(self):
        os.remove(self.items)
        self.daemon.err.wait_for(f"{NOT_READ}cannot open {self.items}: No such file")
        self.assertEqual(self.ui.all_items(), [MAPS, MUSIC])
        self.write(NEWS)
        self.assert_becomes(NEWS)

    def test_keeps_the_selection(self):
        self.ui.select("music")
        self.ui.events()
        self.write(NEWS, ("New name", "music"), MAPS)
        self.assert_becomes(NEWS, ("New name", "music"), MAPS)
        self.assertEqual(self.ui.selected_id(), "music")

    def test_tells_nothing_when_it_says_the_same(self):
        self.write(MAPS, MUSIC)
        self.daemon.err.wait_for(READ_AGAIN)
        self.assertEqual(self.ui.events(), [])

    def test_leaves_items_of_a_partner_in_the_list(self):
        self.ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "radio"))
        self.ui.events()
        self.write(NEWS)
        self.assert_becomes(NEWS, ("Radio", "radio"))

    def test_is_not_read_half_written(self):
        with open(self.items, "wb", buffering=0) as out:
            for byte in text(MAPS, NEWS):
                out.write(bytes([byte]))
        self.assert_becomes(MAPS, NEWS)
        self.assertEqual(self.daemon.stop(), 0)
        self.assertEqual([line for line in self.daemon.err.rest() if "error" in line], [])

    def test_is_read_again_when_it_never_stops_changing(self):
        number = itertools.count()
        self.ui.wait_for_event(items.ITEM_CHANGE, meanwhile=lambda: self.write(
            ("News", f"news {next(number)}")))
        self.assertGreater(next(number), 20, "it was read before there was a second of changes")

    def test_keeps_the_old_list_when_it_is_malformed_and_names_the_line(self):
        with open(self.items, "w", encoding="utf-8") as out:
            out.write("Atlas\tatlas\nMaps maps\n")
        line = self.daemon.err.wait_for(NOT_READ)
        self.assertTrue(line.startswith("applist[error]: "), line)
        self.assertTrue(line.endswith(f"{NOT_READ}{self.items}:2: no TAB between the name and the "
                                      "id; insert one"), line)
        self.assertEqual(self.ui.events(), [])
        self.assertEqual(self.ui.all_items(), [MAPS, MUSIC])
        self.write(NEWS)
        self.assert_becomes(NEWS)


class AFileOfItemsBehindLinks(ReloadTest):
    def test_is_followed_to_another_target_and_there(self):
        self.write(MAPS, to="one")
        self.write(MUSIC, to="two")
        os.symlink("one", self.items)
        self.follow(self.items)
        os.symlink("two", self.path("next"))
        os.rename(self.path("next"), self.items)
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items(), [MUSIC])
        self.write(NEWS, to="two")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items(), [NEWS])

    def test_is_followed_into_a_folder_that_is_made_again(self):
        os.mkdir(self.path("folder"))
        self.write(MAPS, to="folder/items")
        self.follow(self.path("folder/items"))
        os.rename(self.path("folder"), self.path("old"))
        self.daemon.err.wait_for(NOT_READ)
        os.mkdir(self.path("folder"))
        self.write(NEWS, to="folder/items")
        self.ui.wait_for_event(items.ITEM_CHANGE)
        self.assertEqual(self.ui.all_items(), [NEWS])


class AHangupSignal(ReloadTest):
    def test_is_answered_as_the_service_manager_wants_it(self):
        self.publish(MAPS)
        before = time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000
        began, ready = self.daemon.reload()
        after = time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000
        self.assertEqual(ready, "READY=1")
        self.assertRegex(began, r"\ARELOADING=1\nMONOTONIC_USEC=\d+\Z")
        self.assertIn(int(began.rpartition("=")[2]), range(before, after + 1))

    def test_makes_the_file_read_before_the_answer(self):
        self.publish(MAPS)
        self.write(NEWS)
        self.daemon.reload()
        self.assertEqual(self.ui.all_items(), [NEWS])
        self.assertEqual(self.ui.events(), [items.ITEM_CHANGE, items.ITEM_SELECTION])

    def test_changes_nothing_when_the_file_says_the_same(self):
        self.publish(MAPS)
        self.daemon.reload()
        self.assertEqual(self.ui.events(), [])

    def test_is_answered_when_the_file_is_malformed(self):
        self.publish(MAPS)
        with open(self.items, "w", encoding="utf-8") as out:
            out.write("News")
        self.daemon.reload()
        self.daemon.err.wait_for(f"{self.items}:1: the last line does not end with a line feed")
        self.assertEqual(self.ui.all_items(), [MAPS])

    def assert_cannot_be_read_again(self, source):
        self.daemon.reload()
        line = self.daemon.err.wait_for(NOT_READ)
        self.assertTrue(line.endswith(f": {source} is read once; name a regular file"), line)

    def test_leaves_what_came_on_standard_input(self):
        self.write(MAPS)
        with open(self.items, encoding="utf-8") as maps:
            self.daemon = self.start("--items", "-", stdin=maps)
        self.assert_cannot_be_read_again("standard input")
        self.assertEqual(self.partner().all_items(), [MAPS])

    def test_leaves_what_came_out_of_a_pipe(self):
        self.write(MAPS)
        with subprocess.Popen(["cat", self.items], stdout=subprocess.PIPE, text=True) as pipe:
            self.daemon = self.start("--items", "/proc/self/fd/0", stdin=pipe.stdout)
        self.assert_cannot_be_read_again("/proc/self/fd/0")
        self.assertEqual(self.partner().all_items(), [MAPS])

    def test_never_waits_for_a_writer_of_a_named_pipe(self):
        self.publish(MAPS)
        os.remove(self.items)
        os.mkfifo(self.items)
        self.assert_cannot_be_read_again(self.items)
        self.assertEqual(self.ui.all_items(), [MAPS])

    def test_makes_the_desktop_entries_read_that_nothing_told_of(self):
        installed = self.machine()
        entry = "[Desktop Entry]\nType=Application\nExec=sh\nName="
        with open(self.items, "w", encoding="utf-8") as out:
            out.write(entry + "Maps\n")
        # GIO watches the folders of entries, and this file is in none of them.
        os.symlink(self.items, installed.path("a.desktop"))
        daemon = self.start(environment=installed.environment())
        ui = self.partner()
        self.assertEqual(ui.names(), ["Maps"])
        with open(self.items, "w", encoding="utf-8") as out:
            out.write(entry + "Atlas\n")
        daemon.reload()
        self.assertEqual(ui.names(), ["Atlas"])

    def test_again_and_again_never_ends_the_daemon(self):
        self.publish(MAPS)
        for _ in range(20):
            self.daemon.process.send_signal(signal.SIGHUP)
        self.daemon.reload()
        self.assertEqual(self.ui.all_items(), [MAPS])


if __name__ == "__main__":
    unittest.main()
