# SPDX-License-Identifier: MIT

"""A terminal with somebody who types at it."""

import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

from support.processes import DEADLINE


class Terminal:
    """A command in a session of its own that this terminal controls, with all streams on it."""

    def __init__(self, command, variables, columns, rows=24):
        self._seen = b""
        self._past = 0
        self._master, slave = pty.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        self.process = subprocess.Popen(command, env=variables, stdin=slave, stdout=slave,
                                        stderr=slave, start_new_session=True,
                                        preexec_fn=self._take_control)
        os.close(slave)

    @staticmethod
    def _take_control():
        fcntl.ioctl(0, termios.TIOCSCTTY, 0)

    def _read(self, end):
        """Takes in what comes next; False when everybody has left the terminal."""
        ready, _, _ = select.select([self._master], [], [], max(0.0, end - time.monotonic()))
        if not ready:
            raise AssertionError(f"nothing more within {DEADLINE} s; there was {self._seen!r}")
        try:
            read = os.read(self._master, 65536)
        except OSError:
            read = b""
        self._seen += read
        return bool(read)

    def wait_for(self, text, start=0):
        end = time.monotonic() + DEADLINE
        while text not in self._seen[start:]:
            if not self._read(end):
                raise AssertionError(f"no {text!r}; there was {self._seen!r}")

    def read_past(self, text):
        """Waits for `text` behind what was read before."""
        self.wait_for(text, self._past)
        self._past = self._seen.index(text, self._past) + len(text)

    def type(self, text):
        os.write(self._master, text)

    def finish(self):
        """Returns the exit status and what was on the screen, line feeds as the program wrote."""
        end = time.monotonic() + DEADLINE
        while self._read(end):
            pass
        os.close(self._master)
        return self.process.wait(DEADLINE), self._seen.replace(b"\r\n", b"\n")
