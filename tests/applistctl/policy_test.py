# SPDX-License-Identifier: MIT

"""The tool on a system bus as the distribution sets it up, with one rule for the service."""

import os
import re
import unittest

import dbus
import dbus.bus

from support.processes import DEADLINE
from tool import TWO_ITEMS, ConfiguredBus, ToolTest

NOBODY = 65534

RULES = """<policy user="{user}"><allow own="org.tessel.Local.Applist"/></policy>
<policy context="default"><allow send_destination="org.tessel.Local.Applist"/></policy>"""


def stock_policy():
    """The rules for everyone, from the configuration that is installed."""
    with open("/usr/share/dbus-1/system.conf", encoding="utf-8") as stock:
        return re.search(r'<policy context="default">.*?</policy>', stock.read(), re.DOTALL)[0]


class SystemBus(ConfiguredBus):
    def __init__(self):
        rules = stock_policy() + RULES.format(user=os.getuid())
        super().__init__("<busconfig><type>system</type><listen>{address}</listen>"
                         "<auth>EXTERNAL</auth>" + rules + "</busconfig>")
        os.chmod(os.path.dirname(self.path("bus")), 0o755)


class AToolOnASystemBus(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.bus = SystemBus()
        self.addCleanup(self.bus.remove)
        # As another user, when this one is root.
        self.user = NOBODY if os.getuid() == 0 else None

    def run_as_user(self, *arguments, **more):
        return self.run_tool(*arguments, f"--address={self.bus.address}", user=self.user, **more)

    def refusals(self):
        return [line for line in self.bus.log().splitlines() if "Rejected" in line]

    def test_is_refused_nothing(self):
        early = self.run_as_user("list")
        self.assertEqual(early.status, 3, early)
        self.serve(TWO_ITEMS)
        commands = [["list"], ["list", "--wait"], ["selection"], ["select", "music"],
                    ["status"], ["wait", "--item=maps"], ["sync", "-"], ["add", "Mail", "mail"], ["import"],
                    ["replace", "mail", "News", "news"], ["remove", "news"], ["call", "2001"],
                    ["clear", "--yes"]]
        for command in commands:
            with self.subTest(command=command):
                done = self.run_as_user(*command, stdin=b"Radio\tradio\n")
                self.assertEqual(done.status, 0, done)
        self.assertEqual(self.refusals(), [])

    def test_is_refused_nothing_while_it_watches(self):
        self.serve(TWO_ITEMS)
        watch = self.watch("--address=" + self.bus.address)
        self.run_as_user("select", "music")
        watch.out.wait_for("music")
        watch.interrupt()
        self.assertEqual(self.refusals(), [])

    def test_would_be_found_out(self):
        connection = dbus.bus.BusConnection(self.bus.address)
        self.addCleanup(connection.close)
        with self.assertRaisesRegex(dbus.DBusException, "AccessDenied"):
            connection.call_blocking("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus.Peer", "Ping", "", [],
                                     timeout=DEADLINE)
        self.assertEqual(len(self.refusals()), 1)


if __name__ == "__main__":
    unittest.main()
