# SPDX-License-Identifier: MIT

"""applistd from ready to stop: watched, without its bus for a while, and otherwise asleep."""

import fcntl
import os
import select
import signal
import unittest

from support import items
from support.case import AppTest
from support.processes import DEADLINE

# Longer than the four seconds after which GIO looks again for a folder that it cannot watch.
OBSERVATION = 5.0


class ADaemonWithoutStreams(AppTest):
    def test_opens_nothing_in_their_place(self):
        # What is logged would be written to GLib's eventfd, for one.
        daemon = self.start("--verbose", environment=self.machine().environment(),
                            streams_are_closed=True)
        there = [os.readlink(f"/proc/{daemon.process.pid}/fd/{stream}") for stream in range(3)]
        self.assertEqual(there, ["/dev/null"] * 3)


class ADaemonWhoseLogNobodyReads(AppTest):
    """As with 2>&1 | less, and nobody who scrolls."""

    def test_goes_on_and_says_how_many_lines_were_lost_when_it_is_read_again(self):
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        self.start("--verbose", "--items", self.file("Maps\tmaps\n"), stderr=writer)
        os.close(writer)
        ui = self.partner()
        for number in range(200):  # each logs a line of its own, as equal ones are folded
            ui.call(3000 + number)
        os.set_blocking(reader, False)
        os.read(reader, 65536)
        self.assertEqual(ui.ids(), ["maps"])
        self.assertRegex(os.read(reader, 65536).decode(),
                         r"\Aapplist\[error\]: \d+ lines were lost: they could not be written\n")


class ADaemonUnderAServiceManager(AppTest):
    def setUp(self):
        super().setUp()
        self.items = self.file("Maps\tmaps\n")

    def test_says_ready_when_it_can_be_called(self):
        self.start("--items", self.items)
        self.assertEqual(self.partner().ids(), ["maps"])

    def test_says_stopping_and_ends_well_at_sigterm(self):
        daemon = self.start("--items", self.items)
        self.assertEqual(daemon.process.poll(), None)
        daemon.process.send_signal(signal.SIGTERM)
        self.assertEqual(daemon.next_notification(), "STOPPING=1")
        self.assertEqual(daemon.wait(), 0)

    def test_says_stopping_and_ends_well_at_sigint(self):
        daemon = self.start("--items", self.items)
        daemon.process.send_signal(signal.SIGINT)
        self.assertEqual(daemon.next_notification(), "STOPPING=1")
        self.assertEqual(daemon.wait(), 0)

    def test_gives_its_name_up_at_its_end(self):
        daemon = self.start("--items", self.items)
        ui = self.partner()
        self.assertTrue(ui.service_is_there())
        daemon.process.send_signal(signal.SIGTERM)
        ui.wait_for_no_owner()
        self.assertFalse(ui.service_is_there())

    def test_ends_well_while_it_follows_applications_and_holds_a_partners_items(self):
        daemon = self.start(environment=self.machine().environment())
        ui = self.partner()
        ui.connect()
        ui.call(items.ADD_ITEMS, items.item("Maps", "maps") + items.item("Music", "music"))
        ui.select("music")
        daemon.process.send_signal(signal.SIGTERM)
        self.assertEqual(daemon.wait(), 0)

    def test_ends_well_when_stopped_in_the_middle_of_changes(self):
        installed = self.machine()
        daemon = self.start("--verbose", environment=installed.environment())
        installed.install("a.desktop", "A")
        daemon.process.send_signal(signal.SIGTERM)
        self.assertEqual(daemon.wait(), 0)

    def test_can_be_started_again(self):
        for _ in range(2):
            daemon = self.start("--items", self.items)
            self.assertEqual(self.partner().ids(), ["maps"])
            self.assertEqual(daemon.stop(), 0)

    def test_feeds_the_watchdog_again_and_again(self):
        daemon = self.start("--items", self.items, environment={"WATCHDOG_USEC": "200000"})
        for _ in range(3):
            self.assertEqual(daemon.next_notification(), "WATCHDOG=1")

    def test_does_not_feed_a_watchdog_that_watches_another_process(self):
        daemon = self.start("--items", self.items, environment={"WATCHDOG_USEC": "200000",
                                                                "WATCHDOG_PID": "1"})
        daemon.process.send_signal(signal.SIGTERM)
        self.assertEqual(daemon.next_notification(), "STOPPING=1")


class ADaemonWhoseBusGoesAway(AppTest):
    def test_comes_back_with_its_list_when_the_bus_does(self):
        daemon = self.start("--items", self.file("Maps\tmaps\n"))
        self.partner().select("maps")
        self.bus.stop()
        self.bus.start()
        ui = self.partner()
        ui.wait_for_owner()
        self.assertEqual(ui.ids(), ["maps"])
        self.assertEqual(daemon.process.poll(), None)

    def test_still_ends_well_without_a_bus(self):
        daemon = self.start("--items", self.file("Maps\tmaps\n"))
        self.bus.stop()
        daemon.process.send_signal(signal.SIGTERM)
        self.assertEqual(daemon.next_notification(), "STOPPING=1")
        self.assertEqual(daemon.wait(), 0)
        self.bus.start()


class AnIdleDaemon(AppTest):
    def wake_ups(self, daemon):
        """How often each thread has gone to sleep: a thread that woke up has done so again."""
        counts = {}
        tasks = f"/proc/{daemon.process.pid}/task"
        for task in os.listdir(tasks):
            with open(f"{tasks}/{task}/status", encoding="utf-8") as status:
                fields = dict(line.rstrip("\n").split(":\t", 1) for line in status
                              if ":\t" in line)
            counts[task] = int(fields["voluntary_ctxt_switches"])
        return counts

    def wait_until_asleep(self, daemon):
        """Waits until the daemon has answered its last caller, and has heard from the bus, a second
        later, that this has taken the answer."""
        ui = self.partner()
        ui.events()
        ui.close()
        before, after = None, self.wake_ups(daemon)
        process_end = os.pidfd_open(daemon.process.pid)
        self.addCleanup(os.close, process_end)
        rounds = int(DEADLINE / 2)
        while before != after and rounds > 0:
            select.select([process_end], [], [], 2)
            before, after = after, self.wake_ups(daemon)
            rounds -= 1
        self.assertGreater(rounds, 0, f"the daemon never came to rest: {after}")
        return process_end

    def assert_sleeps(self, daemon):
        process_end = self.wait_until_asleep(daemon)
        before = self.wake_ups(daemon)
        ended, _, _ = select.select([process_end], [], [], OBSERVATION)
        self.assertEqual(ended, [], "the daemon ended")
        self.assertEqual(self.wake_ups(daemon), before, f"it woke up within {OBSERVATION} s")

    def test_never_wakes_up_with_a_list_from_a_file(self):
        self.assert_sleeps(self.start("--items", self.file("Maps\tmaps\n")))

    def test_never_wakes_up_while_it_follows_applications(self):
        installed = self.machine()
        installed.install("a.desktop", "A")
        self.assert_sleeps(self.start(environment=installed.environment()))

    def test_never_wakes_up_for_a_user_without_a_home(self):
        environment = self.machine().environment(HOME="/nonexistent", XDG_DATA_HOME="",
                                                 XDG_CONFIG_HOME="")
        self.assert_sleeps(self.start(environment=environment))


if __name__ == "__main__":
    unittest.main()
