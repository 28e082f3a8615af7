# SPDX-License-Identifier: MIT

"""The units and activation files that are installed, read by those who will: systemd, and a bus."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

import shipped
import this_systemd
from support.items import BUS_NAME
from support.processes import DEADLINE, run_applistd

MIB = 2 ** 20
UNITS = {"system": shipped.SYSTEM_UNIT, "user": shipped.USER_UNIT}

# What a unit may be exposed to, out of ten.
EXPOSURE = {"system": 1.0, "user": 1.0}

# What a bus passes on in one message. On a direct channel it is the library's own limit.
MESSAGE = {"system": 32 * MIB, "user": 128 * MIB}
CHANNEL_MESSAGE = 128 * MIB


def analyze(*arguments):
    # With --user it looks for a folder of the user's run time, in which it does nothing.
    variables = dict(os.environ, XDG_RUNTIME_DIR=tempfile.gettempdir())
    return subprocess.run(["systemd-analyze", "--no-pager", *arguments], capture_output=True,
                          text=True, timeout=DEADLINE, check=False, env=variables)


def limits(command):
    """The limits on a command line, as numbers."""
    units = {"": 1, "K": 2 ** 10, "M": MIB, "G": 2 ** 30}
    return {name: int(number) * units[unit]
            for name, number, unit in re.findall(r"--(max-[a-z-]+)=(\d+)([KMG]?)", command)}


def most_kept(scope, given):
    """The bytes that partners can make the daemon keep; the table of docs/security.md."""
    items = given["max-bytes"] + 160 * given["max-items"]
    waiting = 8 * given["max-request"] + 56 * MIB + 64 * 64 * 1536
    reply = 4 * items
    unread = 17 * MIB
    channel = CHANNEL_MESSAGE + given["max-request"] + 16 * MIB + MIB // 2
    return (items + waiting + MESSAGE[scope] + reply + unread + given["max-channels"] * channel)


class AUnit(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="applistd-units-")
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, scope):
        """The path of the unit, with the daemon that was built."""
        path = os.path.join(self.folder, scope, "applistd.service")
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as out:
            out.write(shipped.text(UNITS[scope]))
        return path

    def setting(self, scope, name):
        return shipped.setting(UNITS[scope], "Service", name)

    def test_has_nothing_that_systemd_complains_of(self):
        for scope in UNITS:
            with self.subTest(scope=scope):
                done = analyze(f"--{scope}", "--man=no", "verify", self.file(scope))

                self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_is_exposed_to_hardly_anything(self):
        for scope in UNITS:
            with self.subTest(scope=scope):
                done = analyze(f"--{scope}", "security", "--offline=true",
                               f"--threshold={EXPOSURE[scope] * 10:.0f}", self.file(scope))
                overall = re.search(r"Overall exposure level for applistd.service: ([\d.]+)",
                                    done.stdout)

                print(f"{scope}: exposure {overall[1]}, {EXPOSURE[scope]} at most")
                self.assertEqual(done.returncode, 0, done.stdout)
                self.assertLessEqual(float(overall[1]), EXPOSURE[scope], done.stdout)

    def test_tells_systemd_of_a_reload_where_systemd_listens(self):
        for scope in UNITS:
            with self.subTest(scope=scope):
                listens = this_systemd.version() >= 253
                names = [name for name, _ in shipped.settings(UNITS[scope], "Service")]

                self.assertEqual(self.setting(scope, "Type"), "notify-reload" if listens else "notify")
                self.assertEqual("ExecReload" in names, not listens)

    def test_owns_the_name_by_which_the_bus_starts_it(self):
        for scope, activation in (("system", shipped.SYSTEM_ACTIVATION),
                                  ("user", shipped.SESSION_ACTIVATION)):
            with self.subTest(scope=scope):
                started = dict(shipped.settings(activation, "D-BUS Service"))

                self.assertEqual(self.setting(scope, "BusName"), BUS_NAME)
                self.assertEqual(started["Name"], BUS_NAME)
                self.assertEqual(started["SystemdService"], os.path.basename(UNITS[scope]))
                self.assertEqual(started["Exec"], self.setting(scope, "ExecStart"))

    def test_runs_as_the_user_that_the_others_name(self):
        user = self.setting("system", "User")

        self.assertEqual(user, self.setting("system", "Group"))
        self.assertEqual(user, shipped.setting(shipped.SYSTEM_ACTIVATION, "D-BUS Service", "User"))
        self.assertEqual([policy.attrib for policy in shipped.xml(shipped.POLICY).iter("policy")],
                         [{"user": user}, {"group": user}])
        self.assertRegex(shipped.text(shipped.SYSUSERS), rf"(?m)^u {user} - ")

    def test_starts_it_with_options_that_it_takes(self):
        nowhere = {f"DBUS_{bus}_BUS_ADDRESS": "unix:path=/nowhere" for bus in ("SYSTEM", "SESSION")}
        for scope in UNITS:
            with self.subTest(scope=scope):
                options = self.setting(scope, "ExecStart").split()[1:]
                # 2 would be wrong usage.
                status, _, err = run_applistd(*options, environment=nowhere)

                self.assertEqual(status, 1, err)
                self.assertIn("unix:path=/nowhere", err)

    def test_has_the_memory_that_partners_can_make_the_daemon_keep(self):
        for scope in UNITS:
            with self.subTest(scope=scope):
                given = limits(self.setting(scope, "ExecStart"))
                allowed = self.setting(scope, "MemoryMax")
                kept = most_kept(scope, given)

                print(f"{scope}: partners make it keep {kept / MIB:.0f} MiB of {allowed}")
                self.assertEqual(allowed, "1G")
                # What is left is the list's own.
                self.assertLess(kept, 1024 * MIB - 128 * MIB)
                self.assertIn(f"keep {kept // MIB} MiB at most", shipped.text(UNITS[scope]))


class TheUsersFile(unittest.TestCase):
    def test_is_understood_by_systemd(self):
        with tempfile.TemporaryDirectory(prefix="applistd-root-") as root:
            os.makedirs(os.path.join(root, "etc"))
            done = subprocess.run(["systemd-sysusers", f"--root={root}", "-"], text=True,
                                  input=shipped.text(shipped.SYSUSERS), capture_output=True,
                                  timeout=DEADLINE, check=False)
            self.assertEqual(done.returncode, 0, done.stderr)
            with open(os.path.join(root, "etc/passwd"), encoding="utf-8") as users:
                self.assertRegex(users.read(), r"^applist:x:\d+:\d+:[^:]+:/:/usr/sbin/nologin\n$")
            with open(os.path.join(root, "etc/group"), encoding="utf-8") as groups:
                self.assertRegex(groups.read(), r"^applist:x:\d+:\n$")


if __name__ == "__main__":
    unittest.main()
