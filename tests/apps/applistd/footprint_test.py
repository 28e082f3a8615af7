# SPDX-License-Identifier: MIT

"""What applistd has in memory, and what it becomes to list desktop entries."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

from support.case import AppTest
from support.processes import APPLISTD, DEADLINE


GLIB = {"libglib-2.0", "libgobject-2.0", "libgio-2.0"}


def libraries_of(daemon):
    """The names of the shared libraries in its memory."""
    with open(f"/proc/{daemon.process.pid}/maps", encoding="utf-8") as maps:
        paths = [line.split()[5] for line in maps if len(line.split()) > 5]
    return {os.path.basename(path).split(".so")[0] for path in paths if ".so" in path}


def threads_of(daemon):
    return len(os.listdir(f"/proc/{daemon.process.pid}/task"))


class ADaemonWithItemsFromAFile(AppTest):
    def setUp(self):
        super().setUp()
        self.daemon = self.start("--items", self.file("Maps\tmaps\n"))

    def test_has_no_glib_in_memory(self):
        libraries = libraries_of(self.daemon)
        self.assertIn("libsystemd", libraries)
        self.assertEqual(libraries & GLIB, set())

    def test_has_one_thread(self):
        self.assertEqual(self.partner().ids(), ["maps"])
        self.assertEqual(threads_of(self.daemon), 1)


class ADaemonWithDesktopEntries(AppTest):
    def setUp(self):
        super().setUp()
        installed = self.machine()
        installed.install("maps.desktop", "Maps")
        self.daemon = self.start(environment=installed.environment())

    def test_publishes_them_with_glib(self):
        self.assertEqual(self.partner().all_items(), [("Maps", "maps.desktop")])
        self.assertLessEqual(GLIB, libraries_of(self.daemon))

    def test_has_the_name_by_which_it_is_looked_for(self):
        with open(f"/proc/{self.daemon.process.pid}/comm", encoding="utf-8") as name:
            self.assertEqual(name.read(), "applistd\n")


class ADaemonWithoutDesktopEntries(unittest.TestCase):
    def complaint(self, program, *arguments):
        done = subprocess.run([program, *arguments], capture_output=True, text=True,
                              timeout=DEADLINE, check=False)
        return done.returncode, done.stderr

    def test_says_what_is_not_installed(self):
        with tempfile.TemporaryDirectory(prefix="applistd-alone-") as root:
            program = os.path.join(root, "bin", "applistd")
            os.mkdir(os.path.dirname(program))
            shutil.copy(APPLISTD, program)
            status, err = self.complaint(program)
        self.assertEqual(status, 1, err)
        self.assertRegex(err, rf"\Aapplistd: cannot start {re.escape(root)}/\S+/applistd-desktop, "
                         "which lists desktop entries: No such file or directory; install it, or "
                         r"give --items FILE\n\Z")

    def test_says_so_when_it_was_built_without_them(self):
        self.assertEqual(self.complaint(os.environ["APPLISTD_OF_FILES"]),
                         (2, "applistd: this applistd was built without desktop entries; give "
                          "--items FILE\n"))

    def test_publishes_no_file_by_the_program_that_lists_them(self):
        self.assertEqual(self.complaint(os.environ["APPLISTD_DESKTOP"], "--items", "apps.txt"),
                         (2, "applistd: applistd-desktop lists desktop entries; for --items start "
                          "applistd\n"))


if __name__ == "__main__":
    unittest.main()
