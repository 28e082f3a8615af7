# SPDX-License-Identifier: MIT

"""A daemon that nobody has started: the first call to its name does, whoever makes it."""

import os
import select
import shlex
import signal
import subprocess
import unittest
from unittest import mock

import dbus.bus

import shipped
from support import items
from support.case import AppTest
from support.machine import Machine
from support.processes import DEADLINE
from tool import APPLISTCTL, ConfiguredBus, environment

ADD = os.path.join(os.environ["APPLIST_EXAMPLES"], "add")

CONFIG = """<busconfig><type>session</type><listen>{address}</listen><auth>EXTERNAL</auth>
<servicedir>{folder}</servicedir>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>"""


class ActivatingBus(ConfiguredBus):
    """A session's bus that has the activation file in its folder of services, on a machine with one
    application."""

    def __init__(self):
        self._machine = Machine()
        self._machine.install("maps.desktop", "Maps")
        # What it starts gets the bus's own environment.
        with mock.patch.dict(os.environ, self._machine.environment()):
            super().__init__(CONFIG, **{
                items.BUS_NAME + ".service": shipped.text(shipped.SESSION_ACTIVATION)})

    def pid_of_service(self):
        """The process that owns the name, or nothing."""
        connection = dbus.bus.BusConnection(self.address)
        try:
            return int(connection.call_blocking(
                dbus.BUS_DAEMON_NAME, dbus.BUS_DAEMON_PATH, dbus.BUS_DAEMON_IFACE,
                "GetConnectionUnixProcessID", "s", (items.BUS_NAME,), timeout=DEADLINE))
        except dbus.DBusException as error:
            assert error.get_dbus_name() == "org.freedesktop.DBus.Error.NameHasNoOwner", error
            return None
        finally:
            connection.close()

    def remove(self):
        pid = self.pid_of_service()
        if pid is not None:
            ended = os.pidfd_open(pid)
            os.kill(pid, signal.SIGTERM)
            select.select([ended], [], [], DEADLINE)
            os.close(ended)
        super().remove()
        self._machine.remove()


class TheFirstCall(AppTest):
    def setUp(self):
        self.bus = ActivatingBus()
        self.addCleanup(self.bus.remove)
        self.assertIsNone(self.bus.pid_of_service())

    def output_of(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, timeout=2 * DEADLINE,
                              env=environment(self.bus), check=False)
        self.assertEqual(done.returncode, 0, done.stderr + self.bus.log())
        return done.stdout

    def command_of_service(self):
        with open(f"/proc/{self.bus.pid_of_service()}/cmdline", encoding="utf-8") as command:
            return command.read().rstrip("\0").split("\0")

    def assert_started(self):
        """It was the daemon, with the command line of the file."""
        expected = shlex.split(shipped.setting(shipped.SESSION_ACTIVATION, "D-BUS Service", "Exec"))
        self.assertEqual(self.command_of_service(), expected)

    def test_of_applistctl_starts_it(self):
        self.assertEqual(self.output_of(APPLISTCTL, "list", "--timeout=30"), "Maps\tmaps.desktop\n")
        self.assert_started()

    def test_of_a_partners_model_starts_it(self):
        self.assertEqual(self.output_of(ADD), "Maps\nRadio\n")
        self.assert_started()

    def test_of_busctl_starts_it(self):
        request = items.request(items.GET_ALL_ITEMS)
        said = self.output_of("busctl", f"--address={self.bus.address}", "call", items.BUS_NAME,
                              items.OBJECT_PATH, items.INTERFACE, "Message", "ay",
                              str(len(request)), *map(str, request))
        text = items.item("Maps", "maps.desktop")
        self.assertEqual(said, f"ay {len(text)} {' '.join(map(str, text))}\n")
        self.assert_started()


if __name__ == "__main__":
    unittest.main()
