# SPDX-License-Identifier: MIT

"""Single failures that once broke something: an answer that never came, an end without its cause."""

import unittest

from daemon_cases import BusRestartCases, DaemonCases, EntriesCases, StallCases
from faults import Fault
from tool_cases import COMMANDS, ToolCases


class Cases(unittest.TestCase):
    """Each fault takes place, and nothing is wrong then."""

    PROGRAM = None

    def setUp(self):
        self.cases = self.PROGRAM()
        self.addCleanup(self.cases.remove)
        # Finds out which calls there are.
        self.cases.all("calls", 1)

    def check(self, *case):
        took_place, wrong = self.cases.run(case)
        self.assertTrue(took_place, f"{case[-1]} never happened")
        self.assertEqual(wrong, "", case[-1])


class ADaemon(Cases):
    PROGRAM = DaemonCases

    def test_answers_or_leaves_the_bus_when_a_reply_cannot_be_sent(self):
        for nth in range(1, 13):
            for error in ("ENOBUFS", "ENOMEM"):
                self.check(Fault("sendmsg", error, nth))


class ADaemonWhoseBusIsSlow(Cases):
    PROGRAM = StallCases

    def test_is_not_deaf_when_it_could_not_watch_its_bus_once(self):
        for nth in range(1, 9):
            self.check(Fault("epoll_ctl", "ENOMEM", nth))


class ADaemonWhoseBusIsReplaced(Cases):
    PROGRAM = BusRestartCases

    def test_watches_the_new_bus_when_that_failed_once(self):
        for nth in range(1, 4):
            self.check(Fault("epoll_ctl", "ENOSPC", nth))

    def test_ends_with_the_true_cause_when_its_timer_cannot_be_set(self):
        self.check(Fault("timerfd_settime", "EINVAL", 1))


class ADaemonThatListsApplications(Cases):
    PROGRAM = EntriesCases

    def test_ends_with_the_true_cause_when_its_timer_cannot_be_set(self):
        self.check(Fault("timerfd_settime", "EINVAL", 1))


class ATool(Cases):
    PROGRAM = ToolCases

    def test_says_in_one_line_that_memory_has_ended(self):
        command = COMMANDS[0]
        for nth in (1, 10, 100, 500, 1000):
            self.check(command, Fault("malloc", "ENOMEM", nth, lasts=True))


if __name__ == "__main__":
    unittest.main()
