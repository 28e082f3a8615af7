"""--host: the bus of another machine. Its ssh is one of ours: it writes down how it was called and
runs the bridge here, so that everything but the network is real."""

import os
import subprocess
import tempfile
import unittest

from support.processes import DEADLINE
from tool import MAPS, MUSIC, TWO_ITEMS, ToolTest

SSH = """#!/bin/sh
printf '%s\\n' "$@" > "$SSH_CALLED"
[ -n "$SSH_FAILS" ] && { echo 'ssh: no route' >&2; exit 255; }
[ -n "$SSH_ASKS" ] && read -r password < "$SSH_ASKS"
shift 3
# Through pipes, which a server gives its commands: no descriptor passes. cat wants to wait,
# and complains of a tool that has just left.
/usr/bin/python3 -c 'import os; os.set_blocking(0, True)'
cat 2> /dev/null | "$@" --bus-path="$SSH_BUS" | cat
"""


class AnotherMachine(ToolTest):
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
                          "SSH_ASKS": "",
                          "DBUS_SESSION_BUS_ADDRESS": ""}

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
        complaint = self.complaint_of(1, "--host=me@device", "list", **self.variables)
        self.assertTrue(complaint.endswith("ask on the machine of the service"), complaint)

    def test_says_so_when_a_batch_is_too_large_for_a_connection_without_descriptors(self):
        lines = "".join("x" * 2**20 + f"\tid{n}\n" for n in range(17))
        complaint = self.complaint_of(1, "--host=me@device", "import", stdin=lines.encode(),
                                      **self.variables)
        self.assertTrue(complaint.endswith("send fewer items at once"), complaint)
        self.assertEqual(self.all_items(), [MAPS, MUSIC])

    def test_may_take_its_time_to_let_a_person_in(self):
        os.mkfifo(self.password)
        process = self.popen("--host=me@device", "list", stdout=subprocess.PIPE,
                             **dict(self.variables, SSH_ASKS=self.password))
        with self.assertRaises(subprocess.TimeoutExpired, msg="a bus has 5 s"):
            process.wait(6)
        with open(self.password, "w", encoding="utf-8") as typed:
            typed.write("secret\n")
        self.assertEqual(process.communicate(timeout=DEADLINE), (TWO_ITEMS, ""))

    def test_is_given_up_after_the_timeout(self):
        os.mkfifo(self.password)
        result = self.run_tool("--host=me@device", "--timeout=0.2", "list",
                               **dict(self.variables, SSH_ASKS=self.password))
        self.assertEqual((result.status, result.out), (3, b""))
        self.assertIn("Connection timed out; check ssh me@device systemd-stdio-bridge, or allow "
                      "more time with --timeout", result.err)

    def test_that_cannot_be_reached_is_named_with_what_to_check(self):
        result = self.run_tool("--host=me@device", "list", **dict(self.variables, SSH_FAILS="1"))
        self.assertEqual((result.status, result.out), (3, b""))
        said_by_ssh, said = result.err.splitlines()
        self.assertEqual(said_by_ssh, "ssh: no route")
        self.assertRegex(said, "^applistctl: cannot reach the bus of me@device: .*; "
                               "check ssh me@device systemd-stdio-bridge, or allow more time "
                               "with --timeout$")

    def test_whose_session_bus_cannot_be_reached_is_named_with_that(self):
        for option in ("--session", "--user"):
            result = self.run_tool("-H", "me@device", option, "list",
                                   **dict(self.variables, SSH_FAILS="1"))
            self.assertIn("; check ssh me@device systemd-stdio-bridge --user, or ", result.err)

    def test_without_the_service_is_named(self):
        self.daemon.stop()
        complaint = self.complaint_of(3, "--host=me@device", "list", **self.variables)
        self.assertIn("nobody owns org.tessel.Local.Applist on the bus of me@device;", complaint)


if __name__ == "__main__":
    unittest.main()
