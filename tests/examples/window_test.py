# SPDX-License-Identifier: MIT

"""The demonstration in a window, on an X server of the test's own."""

import os
import signal
import subprocess
import unittest

from support.processes import DEADLINE

SCRIPT = os.path.join(os.environ["APPLIST_SOURCES"], "examples", "demo_window.sh")
COMMAND = [SCRIPT, os.environ["APPLIST_PROGRAMS"]]


def environment(display):
    with_display = dict(os.environ, DISPLAY=display, QT_QUICK_BACKEND="software")
    with_display.pop("WAYLAND_DISPLAY", None)
    return with_display


class ADemonstrationInAWindow(unittest.TestCase):
    def start_display(self):
        server = subprocess.Popen(["Xvfb", "-displayfd", "1", "-nolisten", "tcp"], text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        return ":" + server.stdout.readline().strip()

    def tell(self, display, *command):
        """What xdotool prints."""
        return subprocess.run(["xdotool", *command], env=environment(display), text=True,
                              check=True, stdout=subprocess.PIPE, timeout=DEADLINE).stdout.strip()

    def test_is_open_until_the_window_goes_and_leaves_nothing(self):
        display = self.start_display()
        demo = subprocess.Popen(COMMAND, env=environment(display), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                                start_new_session=True)
        self.addCleanup(demo.stderr.close)
        window = self.tell(display, "search", "--sync", "--name", "^Applications$").split()[0]
        os.kill(int(self.tell(display, "getwindowpid", window)), signal.SIGTERM)
        # Whoever is left of it holds the pipe.
        demo.communicate(timeout=DEADLINE)
        self.assertEqual(demo.returncode, 128 + signal.SIGTERM)

    def test_says_that_there_is_no_display(self):
        done = subprocess.run(COMMAND, env=environment(""), stdin=subprocess.DEVNULL, text=True,
                              capture_output=True, timeout=DEADLINE, check=False)
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (1, "", "demo: there is no display; run this in a desktop session, or "
                                 "set DISPLAY\n"))


if __name__ == "__main__":
    unittest.main()
