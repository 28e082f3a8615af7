# SPDX-License-Identifier: MIT

"""The common part of the tests that run applistd: each has a bus of its own and a clean end."""

import os
import tempfile
import unittest

from support.machine import Machine
from support.partner import Partner
from support.processes import Applistd, Bus


class AppTest(unittest.TestCase):
    """Whatever a test starts is ended after it, and a daemon that fails or leaks fails the test."""

    def setUp(self):
        self.bus = Bus()
        self.addCleanup(self.bus.remove)

    def machine(self):
        machine = Machine()
        self.addCleanup(machine.remove)
        return machine

    def file(self, text):
        """The path of a file that holds `text`, in a folder where nobody else works: a daemon
        that watches the file wakes up when names in its folder change."""
        folder = tempfile.TemporaryDirectory(prefix="applistd-items-")
        self.addCleanup(folder.cleanup)
        path = os.path.join(folder.name, "items")
        with open(path, "w", encoding="utf-8", newline="") as out:
            out.write(text)
        return path

    def start(self, *arguments, **streams_and_environment):
        daemon = Applistd(self.bus, *arguments, **streams_and_environment)
        self.addCleanup(self._stop, daemon)
        return daemon

    def _stop(self, daemon):
        status = daemon.stop()
        self.assertEqual(status, 0, "\n".join(daemon.err.rest()) if daemon.err else "")

    def partner(self):
        partner = Partner(self.bus)
        self.addCleanup(partner.close)
        return partner
