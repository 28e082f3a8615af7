"""--host: the bus of another machine. Its ssh is one of ours: it writes down how it was called and
runs the bridge here, so that everything but the network is real."""

import os
import tempfile
import unittest

from tool import MAPS, MUSIC, ToolTest

SSH = """#!/bin/sh
printf '%s\\n' "$@" > "$SSH_CALLED"
[ -n "$SSH_FAILS" ] && { echo 'ssh: no route' >&2; exit 255; }
shift 3
exec "$@" --bus-path="$SSH_BUS"
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
        self.variables = {"PATH": folder.name + os.pathsep + os.environ["PATH"],
                          "SSH_CALLED": self.called, "SSH_BUS": self.bus.address, "SSH_FAILS": "",
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

    def test_that_cannot_be_reached_is_named_with_what_to_check(self):
        result = self.run_tool("--host=me@device", "list", **dict(self.variables, SSH_FAILS="1"))
        self.assertEqual((result.status, result.out), (3, b""))
        said_by_ssh, said = result.err.splitlines()
        self.assertEqual(said_by_ssh, "ssh: no route")
        self.assertRegex(said, "^applistctl: cannot reach the bus of me@device: .*; "
                               "check ssh me@device systemd-stdio-bridge$")

    def test_without_the_service_is_named(self):
        self.daemon.stop()
        complaint = self.complaint_of(3, "--host=me@device", "list", **self.variables)
        self.assertIn("nobody owns org.tessel.Local.Applist on the bus of me@device;", complaint)


if __name__ == "__main__":
    unittest.main()
