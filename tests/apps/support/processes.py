# SPDX-License-Identifier: MIT

"""Real processes for the tests: a bus of their own, and the daemon on it.

Every wait is for an event and ends, as a failure, at a deadline.
"""

import os
import queue
import select
import signal
import socket
import subprocess
import tempfile
import threading
import time

# Far more than anything here takes, even with sanitizers on a busy machine.
DEADLINE = 30.0

APPLISTD = os.environ["APPLISTD"]


class Output:
    """The lines that a process writes, as they come."""

    def __init__(self, stream):
        self._lines = queue.Queue()
        self._seen = []
        self._thread = threading.Thread(target=self._read, args=(stream,), daemon=True)
        self._thread.start()

    def _read(self, stream):
        with stream:
            for line in stream:
                self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def wait_for(self, text, within=DEADLINE):
        """Returns the next line that contains `text`."""
        end = time.monotonic() + within
        while True:
            try:
                line = self._lines.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                line = None
            if line is None:
                raise AssertionError(f"no line with {text!r}; there were {self._seen}")
            self._seen.append(line)
            if text in line:
                return line

    def rest(self):
        """Returns all lines that were not returned yet, once the process has ended."""
        self._thread.join(DEADLINE)
        lines = []
        while not self._lines.empty():
            lines.append(self._lines.get())
        return [line for line in lines if line is not None]


class Bus:
    """A private dbus-daemon with the session bus's limits, at the same place in each life."""

    def __init__(self, **variables):
        self._variables = dict(os.environ, **variables)
        self._folder = tempfile.TemporaryDirectory(prefix="applistd-bus-")
        self.address = f"unix:path={self._folder.name}/bus"
        self.start()

    def start(self):
        self._process = subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address",
             f"--address={self.address}"],
            env=self._variables, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        # It says where it is when it can be reached there.
        assert self._process.stdout.readline(), "dbus-daemon did not start"

    def remove(self):
        self.stop()
        self._folder.cleanup()

    def stop(self):
        self._process.terminate()
        self._process.wait(DEADLINE)
        self._process.stdout.close()


class Applistd:
    """applistd on a bus, ready when this object has been built."""

    def __init__(self, bus, *arguments, environment=None, stdin=subprocess.DEVNULL,
                 stdout=subprocess.PIPE, stderr=subprocess.PIPE, streams_are_closed=False):
        self._folder = tempfile.TemporaryDirectory(prefix="applistd-notify-")
        self._notifications = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        path = os.path.join(self._folder.name, "notify")
        self._notifications.bind(path)
        self._notifications.settimeout(DEADLINE)
        variables = dict(os.environ, NOTIFY_SOCKET=path, **(environment or {}))
        self.process = subprocess.Popen(
            [APPLISTD, f"--address={bus.address}", *arguments], env=variables, stdin=stdin,
            stdout=stdout, stderr=stderr, text=True,
            preexec_fn=(lambda: os.closerange(0, 3)) if streams_are_closed else None)
        self.out = Output(self.process.stdout) if self.process.stdout else None
        self.err = Output(self.process.stderr) if self.process.stderr else None
        self._wait_until_ready()

    def _wait_until_ready(self):
        process_end = os.pidfd_open(self.process.pid)
        try:
            ready, _, _ = select.select([self._notifications, process_end], [], [], DEADLINE)
        finally:
            os.close(process_end)
        if self._notifications not in ready:
            raise AssertionError(f"applistd did not become ready: {self.err.rest()}")
        said = self.next_notification()
        while said == "WATCHDOG=1":
            said = self.next_notification()
        assert said == "READY=1", f"applistd said {said!r} before it was ready"

    def next_notification(self):
        """Returns the next message to the service manager."""
        return self._notifications.recv(4096).decode()

    def reload(self):
        """Asks the daemon to read its items again; returns what it says until it has."""
        self.process.send_signal(signal.SIGHUP)
        said = [self.next_notification()]
        while said[-1] != "READY=1":
            said.append(self.next_notification())
        return said

    def type(self, line):
        """Writes one line to standard input."""
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def wait(self):
        """Returns the exit status."""
        return self.process.wait(DEADLINE)

    def stop(self, with_signal=signal.SIGTERM):
        """Ends the daemon and returns its exit status, which tells of leaks, too."""
        if self.process.poll() is None:
            self.process.send_signal(with_signal)
        status = self.wait()
        if self.process.stdin is not None:
            self.process.stdin.close()
        self._notifications.close()
        self._folder.cleanup()
        return status


def run_applistd(*arguments, environment=None, input_text=None):
    """Runs applistd to its end and returns its exit status, stdout and stderr."""
    variables = dict(os.environ, **(environment or {}))
    done = subprocess.run([APPLISTD, *arguments], env=variables, input=input_text, text=True,
                          stdin=None if input_text is not None else subprocess.DEVNULL,
                          capture_output=True, timeout=DEADLINE, check=False)
    return done.returncode, done.stdout, done.stderr
