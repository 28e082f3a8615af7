# SPDX-License-Identifier: MIT

"""A service that the bus starts when somebody asks for it."""

import os
import signal
import unittest

from tool import TWO_ITEMS, ConfiguredBus, ToolTest

CONFIG = """<busconfig><type>session</type><listen>{address}</listen><auth>EXTERNAL</auth>
<servicedir>{folder}</servicedir>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>"""

SERVICE = """[D-BUS Service]
Name=org.tessel.Local.Applist
Exec=/bin/sh {folder}/start
"""

# exec keeps the number, so that the test knows whom to end: a daemon outlives its bus.
START = """echo $$ > {folder}/new
mv {folder}/new {folder}/started
exec {daemon} --items {folder}/items 2> {folder}/log
"""


class ActivatingBus(ConfiguredBus):
    """A bus that knows how to start the service."""

    def __init__(self):
        super().__init__(CONFIG, start=START, items=TWO_ITEMS, **{"applist.service": SERVICE})

    def has_started_it(self):
        return os.path.exists(self.path("started"))

    def remove(self):
        if self.has_started_it():
            with open(self.path("started"), encoding="utf-8") as started:
                os.kill(int(started.read()), signal.SIGTERM)
        super().remove()


class AServiceThatTheBusCanStart(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.bus = ActivatingBus()
        self.addCleanup(self.bus.remove)

    def test_is_started_for_a_list(self):
        self.assertEqual(self.output_of("list", "--timeout=30"), TWO_ITEMS)

    def test_is_started_for_an_edit(self):
        self.assertEqual(self.output_of("add", "Mail", "mail", "--timeout=30"),
                         "added\tMail\tmail\n")

    def test_is_started_for_a_call(self):
        self.assertEqual(self.output_of("call", "GetAllItems", "--timeout=30"), TWO_ITEMS)

    def test_is_started_for_a_watch(self):
        watch = self.watch("--timeout=30")
        self.assertIn("watching 2 items", watch.said)
        self.assertEqual(watch.interrupt(), 130)

    def test_is_started_for_a_wait(self):
        self.assertEqual(self.output_of("wait", "--timeout=30"), "")
        self.assertTrue(self.bus.has_started_it())

    def test_is_not_started_by_who_looks_at_its_status(self):
        self.assertIn("nobody owns org.tessel.Local.Applist", self.complaint_of(3, "status"))
        self.assertFalse(self.bus.has_started_it())

    def test_is_not_started_when_that_is_not_wanted(self):
        for command in (("list",), ("add", "Mail", "mail"), ("call", "GetAllItems"), ("watch",),
                        ("status",), ("wait", "--timeout=0.2"), ("sync", "-y", "/dev/null")):
            with self.subTest(command=command[0]):
                complaint = self.complaint_of(3, "--no-start", *command)
                self.assertIn("nobody owns org.tessel.Local.Applist", complaint)
        self.assertFalse(self.bus.has_started_it())


if __name__ == "__main__":
    unittest.main()
