# SPDX-License-Identifier: MIT

"""The examples as processes, each on the test's own bus."""

import os
import subprocess
import unittest

from support import items
from support.partner import Partner
from support.processes import DEADLINE, Bus, Output

PROGRAMS = os.environ["APPLIST_PROGRAMS"]


def program(name):
    return os.path.join(PROGRAMS, "examples", name)


class ExampleTest(unittest.TestCase):
    """Whatever a test starts is ended after it; an example that fails or leaks fails the test."""

    def setUp(self):
        self.bus = Bus()
        self.addCleanup(self.bus.stop)
        self.environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=self.bus.address)
        for variable in ("DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE"):
            self.environment.pop(variable, None)

    def start(self, name):
        """The example, running; its lines are in `out` and `err`."""
        process = subprocess.Popen([program(name)], env=self.environment, text=True,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        process.out = Output(process.stdout)
        process.err = Output(process.stderr)
        self.addCleanup(self.end, process)
        return process

    def end(self, process):
        """Asks the example to end, as a service manager does."""
        if process.poll() is None:
            process.terminate()
        status = process.wait(DEADLINE)
        self.assertEqual(status, 0, "\n".join(process.err.rest()))

    def publish(self, name="publish"):
        """The example, running, with its list on the bus."""
        process = self.start(name)
        self.run_to_end("gdbus", "wait", "--address", self.bus.address, "--timeout",
                        str(int(DEADLINE)), items.BUS_NAME)
        return process

    def run_to_end(self, *command, status=0):
        """What the command wrote to stdout and to stderr."""
        done = subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, timeout=DEADLINE, check=False)
        self.assertEqual(done.returncode, status, f"{command}: {done.stdout}{done.stderr}")
        return done.stdout, done.stderr

    def partner(self):
        partner = Partner(self.bus)
        self.addCleanup(partner.close)
        return partner
