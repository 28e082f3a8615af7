# SPDX-License-Identifier: MIT

"""--host: the bus of another machine. Its ssh is one of ours: it writes down how it was called and
runs the bridge here, so that everything but the network is real."""

import os
import select
import signal
import subprocess
import tempfile
import time
import unittest

from support import items
from support.partner import wait_for_match_rule
from support.processes import DEADLINE
from tool import MAPS, MUSIC, TWO_ITEMS, ToolTest, Watch, add

SSH = """#!/bin/sh
printf '%s\\n' "$@" > "$SSH_CALLED"
[ -n "$SSH_LINK" ] && { . "$SSH_LINK"; echo "$$ $(date +%s.%N)" >> "$SSH_STARTS"; }
[ -n "$SSH_FAILS" ] && { echo 'ssh: no route' >&2; exit 255; }
[ -n "$SSH_ASKS" ] && read -r password < "$SSH_ASKS"
shift 3
[ -n "$SSH_LINK" ] && exec "$@" --bus-path="$SSH_BUS"
# Through pipes, which a server gives its commands: no descriptor passes. cat wants to wait,
# and complains of a tool that has just left.
/usr/bin/python3 -c 'import os; os.set_blocking(0, True)'
cat 2> /dev/null | "$@" --bus-path="$SSH_BUS" | cat
"""


class HostTest(ToolTest):
    """Another machine, whose bus is the test's."""

    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory(prefix="applistctl-ssh-")
        self.addCleanup(folder.cleanup)
        ssh = os.path.join(folder.name, "ssh")
        with open(ssh, "w", encoding="utf-8") as script:
            script.write(SSH)
        os.chmod(ssh, 0o755)
        self.called = os.path.join(folder.name, "called")
        self.password = os.path.join(folder.name, "password")
        self.variables = {"PATH": folder.name + os.pathsep + os.environ["PATH"],
                          "SSH_CALLED": self.called, "SSH_BUS": self.bus.address, "SSH_FAILS": "",
                          "SSH_ASKS": "", "SSH_LINK": "",
                          "DBUS_SESSION_BUS_ADDRESS": ""}


class AnotherMachine(HostTest):
    def words_of_ssh(self):
        with open(self.called, encoding="utf-8") as called:
            return called.read().splitlines()

    def test_shows_its_list(self):
        self.assertEqual(self.output_of("--host=me@device", "list", **self.variables),
                         "Maps\tmaps\nMusic\tmusic\n")

    def test_is_reached_as_ssh_is_told(self):
        self.output_of("--host=me@device", "list", **self.variables)
        self.assertEqual(self.words_of_ssh(), ["-xT", "--", "me@device", "systemd-stdio-bridge"])

    def test_may_have_any_name(self):
        for host in ("ssh://me@[::1]:2222", "a,argv9=b;c %41", "-oProxyCommand=x"):
            self.output_of(f"--host={host}", "list", **self.variables)
            self.assertEqual(self.words_of_ssh()[2], host)

    def test_may_have_a_session_bus(self):
        # The bridge takes the last bus that it is told.
        self.output_of("--host=me@device", "--session", "list", **self.variables)
        self.assertEqual(self.words_of_ssh()[3:], ["systemd-stdio-bridge", "--user"])

    def test_can_be_edited(self):
        self.output_of("--host=me@device", "add", "Mail", "mail", **self.variables)
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("Mail", "mail")])

    def test_gets_a_list_too_large_for_one_small_message(self):
        lines = "".join(f"Application {n}\torg.tessel.example.N{n}\n" for n in range(10000))
        self.output_of("--host=me@device", "import", stdin=lines.encode(), **self.variables)
        self.assertEqual(self.output_of("--host=me@device", "list", **self.variables),
                         "Maps\tmaps\nMusic\tmusic\n" + lines)

    def test_says_so_when_a_list_is_too_large_for_a_connection_without_descriptors(self):
        self.daemon.stop()
        self.serve("".join("x" * 2**20 + f"\tid{n}\n" for n in range(17)))
        complaint = self.complaint_of(1, "--host=me@device", "--timeout=30", "list",
                                      **self.variables)
        self.assertTrue(complaint.endswith("ask from the service's own machine"), complaint)

    def test_says_so_when_a_batch_is_too_large_for_a_connection_without_descriptors(self):
        lines = "".join("x" * 2**20 + f"\tid{n}\n" for n in range(17))
        complaint = self.complaint_of(1, "--host=me@device", "import", stdin=lines.encode(),
                                      **self.variables)
        self.assertTrue(complaint.endswith("send fewer items at once"), complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_has_again_what_was_removed_for_a_batch_that_is_too_large(self):
        self.output_of("add", "A", "a")
        self.output_of("select", "a")
        lines = "".join("x" * 2**20 + f"\tid{n}\n" for n in range(17))
        complaint = self.complaint_of(1, "--host=me@device", "sync", "-", **self.variables,
                                      stdin=(TWO_ITEMS + lines + "A\ta\n").encode())
        self.assertTrue(complaint.endswith("send fewer items at once"), complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC, ("A", "a")])
        self.assertEqual(self.output_of("selection"), "A\ta\n")

    def test_may_take_its_time_to_let_a_person_in(self):
        os.mkfifo(self.password)
        process = self.popen("--host=me@device", "list", stdout=subprocess.PIPE,
                             **dict(self.variables, SSH_ASKS=self.password))
        with self.assertRaises(subprocess.TimeoutExpired, msg="a bus has 5 s"):
            process.wait(6)
        with open(self.password, "w", encoding="utf-8") as typed:
            typed.write("secret\n")
        self.assertEqual(process.communicate(timeout=DEADLINE), (TWO_ITEMS, ""))

    def test_leaves_a_wait_all_its_time_after_a_person_was_let_in(self):
        os.mkfifo(self.password)
        process = self.popen("--host=me@device", "wait", "--item=mail", stdout=subprocess.PIPE,
                             **dict(self.variables, SSH_ASKS=self.password))
        with self.assertRaises(subprocess.TimeoutExpired, msg="the wait has 5 s"):
            process.wait(6)
        with open(self.password, "w", encoding="utf-8") as typed:
            typed.write("secret\n")
        wait_for_match_rule(self.bus, f"arg0='{items.BUS_NAME}'")
        add(self.partner(), "Mail", "mail")
        self.assertEqual(process.communicate(timeout=DEADLINE), ("", ""))
        self.assertEqual(process.returncode, 0)

    def test_is_given_up_after_the_timeout(self):
        os.mkfifo(self.password)
        result = self.run_tool("--host=me@device", "--timeout=0.2", "list",
                               **dict(self.variables, SSH_ASKS=self.password))
        self.assertEqual((result.status, result.out), (3, b""))
        self.assertIn("Connection timed out; try ssh me@device systemd-stdio-bridge, or allow "
                      "more time with --timeout", result.err)

    def test_that_cannot_be_reached_is_named_with_what_to_check(self):
        result = self.run_tool("--host=me@device", "list", **dict(self.variables, SSH_FAILS="1"))
        self.assertEqual((result.status, result.out), (3, b""))
        said_by_ssh, said = result.err.splitlines()
        self.assertEqual(said_by_ssh, "ssh: no route")
        self.assertRegex(said, "^applistctl: cannot reach the bus of me@device: .*; "
                               "try ssh me@device systemd-stdio-bridge, or allow more time "
                               "with --timeout$")

    def test_may_be_called_like_a_part_of_a_message(self):
        host = "check that the bus is running, or choose another one"
        result = self.run_tool(f"--host={host}", "list", **dict(self.variables, SSH_FAILS="1"))
        said = result.err.splitlines()[-1]
        self.assertRegex(said, f"^applistctl: cannot reach the bus of {host}: [^;]*; "
                               f"try ssh {host} systemd-stdio-bridge, or allow more time ")

    def test_whose_session_bus_cannot_be_reached_is_named_with_that(self):
        for option in ("--session", "--user"):
            result = self.run_tool("-H", "me@device", option, "list",
                                   **dict(self.variables, SSH_FAILS="1"))
            self.assertIn("; try ssh me@device systemd-stdio-bridge --user, or ", result.err)

    def test_without_the_service_is_named(self):
        self.daemon.stop()
        complaint = self.complaint_of(3, "--host=me@device", "list", **self.variables)
        self.assertIn("nobody owns org.tessel.Local.Applist on the bus of me@device;", complaint)


class ALostLink(HostTest):
    """A watch whose ssh has ended. What the next ones do is written into a file."""

    def setUp(self):
        super().setUp()
        folder = os.path.dirname(self.called)
        self.link = os.path.join(folder, "link")
        self.starts = os.path.join(folder, "starts")
        self.make_link()
        os.mkfifo(self.starts)
        # Open for both, so that neither side waits for the other.
        self.attempts = open(os.open(self.starts, os.O_RDWR), encoding="utf-8", buffering=1)
        self.addCleanup(self.attempts.close)
        self.variables.update(SSH_LINK=self.link, SSH_STARTS=self.starts)

    def make_link(self, text=""):
        with open(self.link + ".new", "w", encoding="utf-8") as new:
            new.write(text)
        os.rename(self.link + ".new", self.link)

    def next_attempt(self):
        """The process and the time of the next ssh."""
        ready, _, _ = select.select([self.attempts], [], [], DEADLINE)
        self.assertTrue(ready, f"no ssh within {DEADLINE} s")
        process, started = self.attempts.readline().split()
        return int(process), float(started)

    def lose(self, then):
        """The watch, and when its link went. The next ssh does what `then` says."""
        watch = Watch(self.popen("--host=me@device", "watch", stdout=subprocess.PIPE,
                                 **self.variables), "watching")
        ssh, _ = self.next_attempt()
        self.make_link(then)
        lost = time.time()
        os.kill(ssh, signal.SIGKILL)
        watch.out.wait_for("lost")
        return watch, lost

    def test_is_looked_for_after_one_second_and_after_two_more(self):
        watch, lost = self.lose("SSH_FAILS=1\n")
        _, first = self.next_attempt()
        _, second = self.next_attempt()
        self.assertGreater(first - lost, 0.99)
        self.assertGreater(second - first, 1.99)
        self.make_link()
        watch.out.wait_for("back")
        self.assertEqual(watch.interrupt(), 130)

    def test_leaves_a_person_the_time_to_log_in_again(self):
        os.mkfifo(self.password)
        watch, _ = self.lose(f"SSH_ASKS={self.password}\n")
        ssh, _ = self.next_attempt()
        prompt = os.pidfd_open(ssh)
        self.addCleanup(os.close, prompt)
        ended, _, _ = select.select([prompt], [], [], 11)
        self.assertFalse(ended, "ssh was ended while it asked for a password")
        with open(self.password, "w", encoding="utf-8") as typed:
            typed.write("secret\n")
        watch.out.wait_for("back")
        self.assertEqual(watch.interrupt(), 130)


if __name__ == "__main__":
    unittest.main()
