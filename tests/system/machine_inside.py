# SPDX-License-Identifier: MIT

"""The services as systemd runs them, tried from inside: see machine_test.py."""

import os
import re
import subprocess
import sys
import unittest

import this_systemd
from support import items
from support.processes import DEADLINE
from users import MEMBER, OWNER, STRANGER

APPLISTCTL = os.environ["APPLISTCTL"]
DENIED = "org.freedesktop.DBus.Error.AccessDenied"
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SESSION = f"unix:path=/run/user/{MEMBER.number}/bus"


def group_number():
    with open("/etc/group", encoding="utf-8") as groups:
        (number,) = [line.split(":")[2] for line in groups if line.startswith("applist:")]
    return number


def as_user(user, *command, **variables):
    """Runs a command as one of the users; with the group when the user has it."""
    groups = [f"--groups={group_number()}"] if user is MEMBER else ["--clear-groups"]
    return subprocess.run(
        ["setpriv", f"--reuid={user.number}", f"--regid={user.number}", *groups, "--reset-env",
         "env", *(f"{name}={value}" for name, value in variables.items()), *command],
        check=False, capture_output=True, text=True, timeout=2 * DEADLINE)


class Service(unittest.TestCase):
    """What both services have in common."""

    SYSTEMCTL = ()
    BUS = ()
    VARIABLES = {}

    def systemctl(self, *arguments):
        command = ["systemctl", *self.SYSTEMCTL, *arguments]
        if not self.SYSTEMCTL:
            done = subprocess.run(command, check=False, capture_output=True, text=True,
                                  timeout=2 * DEADLINE)
        else:
            done = as_user(MEMBER, *command, **self.VARIABLES)
        return done.returncode, done.stdout.strip() + done.stderr.strip()

    def property(self, name):
        status, value = self.systemctl("show", "--value", f"--property={name}", "applistd.service")
        self.assertEqual(status, 0, value)
        return value

    def is_started(self):
        """Whether it has the name, and maybe has not told systemd yet that it is ready."""
        return self.property("ActiveState") in ("activating", "active")

    def pid(self):
        return int(self.property("MainPID"))

    def tool(self, *arguments):
        return as_user(MEMBER, APPLISTCTL, *self.BUS, "--timeout=30", *arguments, **self.VARIABLES)

    def output_of(self, *arguments):
        done = self.tool(*arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def status_of_process(self):
        with open(f"/proc/{self.pid()}/status", encoding="ascii") as status:
            return dict(line.rstrip("\n").split(":\t", 1) for line in status if ":\t" in line)

    def setUp(self):
        self.systemctl("stop", "applistd.service")
        self.assertEqual(self.property("ActiveState"), "inactive")
        self.addCleanup(self.systemctl, "stop", "applistd.service")


class CommonTests:
    ENTRIES = ()

    def test_is_started_by_the_first_call(self):
        listed = self.output_of("list")

        for entry in self.ENTRIES:
            self.assertIn(entry, listed)
        self.assertEqual(self.property("ActiveState"), "active")

    def test_is_in_its_sandbox(self):
        self.output_of("list")
        status = self.status_of_process()

        self.assertEqual((status["NoNewPrivs"], status["Seccomp"]), ("1", "2"))
        for capabilities in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            self.assertEqual(status[capabilities], "0" * 16, capabilities)
        for namespace in ("mnt", "net", "ipc", "uts", "user"):
            self.assertNotEqual(os.readlink(f"/proc/{self.pid()}/ns/{namespace}"),
                                os.readlink(f"/proc/self/ns/{namespace}"), namespace)
        with open(f"/proc/{self.pid()}/mountinfo", encoding="utf-8") as mounts:
            (root,) = [line.split() for line in mounts if line.split()[4] == "/"]
        self.assertIn("ro", root[5].split(","))

    def test_is_written_to_and_watched(self):
        self.assertEqual(self.output_of("add", "Radio", "radio"), "added\tRadio\tradio\n")
        self.assertEqual(self.output_of("select", "radio"), "selected\tRadio\tradio\n")
        watched = as_user(
            MEMBER, "sh", "-c",
            f'{APPLISTCTL} {" ".join(self.BUS)} watch --count=1 2>&1 | '
            'while read -r line; do echo "$line"; case $line in *watching*) '
            f'{APPLISTCTL} {" ".join(self.BUS)} remove radio ;; esac; done', **self.VARIABLES)
        self.assertIn("removed\tRadio\tradio", watched.stdout)
        self.assertNotIn("Radio", self.output_of("list"))

    def test_goes_on_after_a_reload(self):
        self.output_of("add", "Radio", "radio")
        before = self.pid()

        self.assertEqual(self.systemctl("reload", "applistd.service"), (0, ""))

        self.assertIn("Radio", self.output_of("list"))
        self.assertEqual((self.property("ActiveState"), self.pid()), ("active", before))

    def test_ends_well_when_it_is_stopped(self):
        self.output_of("list")
        self.systemctl("stop", "applistd.service")

        self.assertEqual((self.property("Result"), self.property("ExecMainStatus")),
                         ("success", "0"))

    def test_comes_back_when_it_is_killed(self):
        self.output_of("list")
        before = self.pid()
        self.systemctl("kill", "--signal=KILL", "applistd.service")

        self.output_of("list", "--wait")
        self.assertEqual(self.property("ActiveState"), "active")
        self.assertNotIn(self.pid(), (0, before))


class TheSystemsService(CommonTests, Service):
    BUS = ("--system",)
    ENTRIES = ("Of the machine",)

    def try_as(self, user, *words):
        program = os.path.join(os.path.dirname(__file__), "as_user.py")
        done = as_user(user, sys.executable, program, "unix:path=/run/dbus/system_bus_socket",
                       *words, **{name: os.environ[name] for name in ("APPLISTD", "PYTHONPATH")})
        return done.stdout.strip() or done.stderr

    def test_runs_as_its_user(self):
        self.output_of("list")

        self.assertEqual(self.status_of_process()["Groups"].split(), [group_number()])
        self.assertEqual(set(self.status_of_process()["Gid"].split()), {group_number()})
        self.assertEqual(self.property("User"), OWNER.name)

    def test_gives_one_of_the_group_a_channel(self):
        self.assertIn("('Of the machine', 'of-the-machine.desktop')",
                      self.try_as(MEMBER, "channel"))

    def test_is_not_called_by_a_stranger(self):
        self.output_of("list")

        self.assertEqual(self.try_as(STRANGER, "call", items.INTERFACE, "Message"), DENIED)

    def test_is_started_by_a_strangers_call_on_dbus_broker_alone(self):
        self.assertEqual(self.try_as(STRANGER, "call", items.INTERFACE, "Message"), DENIED)

        # The other bus asks its policy before it starts anything.
        self.assertEqual(self.is_started(), os.environ["BUS_PROGRAM"] == "dbus-broker")

    def test_is_started_for_a_stranger_who_asks_the_bus_for_that(self):
        self.assertEqual(self.try_as(STRANGER, "start"), "allowed 1")
        self.assertTrue(self.is_started())


class TheUsersService(CommonTests, Service):
    SYSTEMCTL = ("--user",)
    BUS = ("--session",)
    VARIABLES = {"XDG_RUNTIME_DIR": f"/run/user/{MEMBER.number}",
                 "DBUS_SESSION_BUS_ADDRESS": SESSION}
    ENTRIES = ("Of the machine", "Of the user")

    def without_namespaces_of_users(self):
        """What the document says for a kernel that does not let users make them."""
        with open(os.path.join(SOURCE, "docs/system-service.md"), encoding="utf-8") as document:
            return re.search(r"```ini\n(\[Service\]\nPrivateUsers=no\n.*?)```", document.read(),
                             re.DOTALL)[1]

    def test_starts_without_a_namespace_of_users_when_told_so(self):
        folder = f"/home/{MEMBER.name}/.config/systemd/user/applistd.service.d"
        os.makedirs(folder)
        with open(os.path.join(folder, "override.conf"), "w", encoding="utf-8") as out:
            out.write(self.without_namespaces_of_users())
        self.addCleanup(self.systemctl, "daemon-reload")
        self.addCleanup(os.remove, out.name)
        self.systemctl("daemon-reload")

        self.assertIn("Of the user", self.output_of("list"))
        # Later ones make one whenever they can.
        if this_systemd.version() < 254:
            self.assertEqual(os.readlink(f"/proc/{self.pid()}/ns/user"),
                             os.readlink("/proc/self/ns/user"))
        self.assertEqual(self.status_of_process()["Seccomp"], "2")


def say_what_is_not_had():
    with open("/sys/fs/cgroup/cgroup.controllers", encoding="ascii") as controllers:
        had = controllers.read().split()
    for controller, setting in (("memory", "MemoryMax"), ("pids", "TasksMax")):
        if controller not in had:
            print(f"not had: {setting}, as cgroup2 does not have {controller} here", flush=True)


if __name__ == "__main__":
    say_what_is_not_had()
    unittest.main()
