# SPDX-License-Identifier: MIT

"""The units, the activation files and the policy, installed, on a machine whose process 1 is
systemd: what is tried there is in machine_inside.py."""

import os
import sys
import unittest

import booted

KEPT = ("APPLISTD", "APPLISTCTL", "PYTHONPATH", "PYTHONDONTWRITEBYTECODE")


class AMachineWithSystemd(unittest.TestCase):
    def try_with(self, bus_program):
        self.assertEqual(os.geteuid(), 0, "this test starts systemd as process 1: run it as root")
        machine = booted.Machine(os.environ["APPLIST_BUILD"], os.environ["APPLIST_CMAKE"],
                                 bus_program)
        self.addCleanup(machine.remove)
        inside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "machine_inside.py")
        variables = dict({name: os.environ[name] for name in KEPT}, BUS_PROGRAM=bus_program)

        try:
            status, said = machine.run(inside, variables, 110)
        except booted.CannotBoot as why:
            self.skipTest(f"systemd cannot be started as process 1 of namespaces: {why}")

        print(said)
        self.assertEqual(status, 0, said)

    def test_has_both_services_on_dbus_daemon(self):
        self.try_with("dbus-daemon")

    def test_has_both_services_on_dbus_broker(self):
        self.try_with("dbus-broker")


if __name__ == "__main__":
    result = unittest.main(exit=False).result
    for _, reason in result.skipped:
        print("not tried:", reason)
    sys.exit(77 if result.skipped else not result.wasSuccessful())
