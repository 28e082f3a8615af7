# SPDX-License-Identifier: MIT

"""The terminal sessions that the documents show, typed in on a terminal."""

import os
import pathlib
import pty
import queue
import re
import signal
import subprocess
import tempfile
import threading
import unittest

from example_case import PROGRAMS, ExampleTest
from support.processes import DEADLINE

SOURCES = pathlib.Path(os.environ["APPLIST_SOURCES"])


def sessions(document):
    """Its console blocks, each as a list of (command, what it writes)."""
    text = (SOURCES / document).read_text(encoding="utf-8")
    blocks = re.findall(r"^```console\n(.*?)^```$", text, re.M | re.S)
    return [re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.M) for block in blocks]


class Terminal:
    """One command whose input and output are a terminal."""

    def __init__(self, command, folder, environment):
        self._screen, side = pty.openpty()
        self.process = subprocess.Popen(["bash", "-c", command], cwd=folder, env=environment,
                                        stdin=side, stdout=side, stderr=side)
        os.close(side)
        self._lines = queue.Queue()
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        try:
            with open(self._screen, encoding="utf-8", newline="") as screen:
                for line in screen:
                    self._lines.put(line.replace("\r\n", "\n"))
        except OSError:
            pass  # the last process has left the terminal
        self._lines.put("")

    def line(self):
        """Returns the next line; an empty text after the last one."""
        return self._lines.get(timeout=DEADLINE)

    def rest(self):
        """Returns everything up to the end."""
        return "".join(iter(self.line, ""))


class TheSession(ExampleTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.environment.update(PATH=f"{PROGRAMS}:{self.environment['PATH']}", TERM="xterm",
                                NO_COLOR="1", LC_ALL="C.UTF-8")

    def open(self, command):
        terminal = Terminal(command, self.folder, self.environment)
        self.addCleanup(terminal.process.wait, DEADLINE)
        return terminal

    def start_service(self, command):
        """Like a shell's &: returns at once."""
        service = subprocess.Popen(["bash", "-c", "exec " + command], cwd=self.folder,
                                   env=self.environment, stdin=subprocess.DEVNULL)
        self.addCleanup(self.assert_ends, service, signal.SIGTERM, 0)

    def assert_ends(self, process, by, status):
        process.send_signal(by)
        self.assertEqual(process.wait(DEADLINE), status)

    def type(self, command, answer):
        with self.subTest(command):
            if command.endswith(" &"):
                self.start_service(command[:-2])
            else:
                self.assertEqual(self.open(command).rest(), answer)

    def test_of_the_readme_shows_what_really_appears(self):
        first, ((watch, watched),) = sessions("README.md")
        start = 1 + next(at for at, (_, answer) in enumerate(first) if answer)
        for command, answer in first[:start]:
            self.type(command, answer)
        # The list has been shown: the second terminal's turn.
        watcher = self.open("exec " + watch)
        self.addCleanup(self.assert_ends, watcher.process, signal.SIGINT, 130)
        self.assertEqual(watcher.line(), watched.splitlines(True)[0])
        for command, answer in first[start:]:
            self.type(command, answer)

        # Whoever types as fast as this sees changes together, the items first.
        expected = watched.splitlines(True)[1:]
        self.assertEqual(sorted(watcher.line() for _ in expected), sorted(expected))

    def test_for_scripts_shows_what_really_appears(self):
        (session,) = sessions("docs/applistctl.md")
        for command, answer in session:
            self.type(command, answer)


if __name__ == "__main__":
    unittest.main()
