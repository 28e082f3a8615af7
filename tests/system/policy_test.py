# SPDX-License-Identifier: MIT

"""The policy that is installed, on a system bus with the stock policy, for the daemon's user, one of
its group, and a stranger: who may own, call, read Serial, hear events and take a channel."""

import os
import subprocess
import sys
import unittest

import shipped
import users
from introspection import introspected
from support import items
from support.case import AppTest
from support.partner import Partner
from support.processes import APPLISTD, DEADLINE, Output
from tool import ConfiguredBus
from users import EVERYBODY, MEMBER, OWNER, STRANGER

# What the reference implementation's system.conf says of everyone.
STOCK = """<policy context="default"><allow user="*"/>
<deny own="*"/><deny send_type="method_call"/>
<allow send_type="signal"/>
<allow send_requested_reply="true" send_type="method_return"/>
<allow send_requested_reply="true" send_type="error"/>
<allow receive_type="method_call"/><allow receive_type="method_return"/>
<allow receive_type="error"/><allow receive_type="signal"/>
<allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
<allow send_destination="org.freedesktop.DBus"
       send_interface="org.freedesktop.DBus.Introspectable"/>
<allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Properties"/>
<deny send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"
      send_member="UpdateActivationEnvironment"/>
<deny send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus.Debug.Stats"/>
<deny send_destination="org.freedesktop.DBus"
      send_interface="org.freedesktop.systemd1.Activator"/></policy>"""

CONFIG = ("<busconfig><type>system</type><listen>{address}</listen><auth>EXTERNAL</auth>" + STOCK +
          "<include>{folder}/policy</include></busconfig>")

DENIED = "org.freedesktop.DBus.Error.AccessDenied"
READ_ONLY = "org.freedesktop.DBus.Error.PropertyReadOnly"
LIST = [("Maps", "maps"), ("Music", "music")]
PROPERTIES = "org.freedesktop.DBus.Properties"


def setUpModule():
    users.enter_a_world_with_them()


class SystemBus(ConfiguredBus):
    """A system bus that has the policy in its system.d."""

    def __init__(self):
        super().__init__(CONFIG, policy=shipped.text(shipped.POLICY))
        os.chmod(os.path.dirname(self.path("bus")), 0o755)


class ASystemBus(AppTest):
    def setUp(self):
        self.bus = SystemBus()
        self.addCleanup(self.bus.remove)

    def readable_file(self, text):
        """As file(), and for every user."""
        path = self.file(text)
        os.chmod(os.path.dirname(path), 0o755)
        os.chmod(path, 0o644)
        return path

    def popen(self, user, *command, **more):
        return subprocess.Popen(command, cwd="/", env=dict(os.environ, HOME="/nonexistent"),
                                **user.becoming(), **more)

    def serve_as(self, user):
        """The daemon; it has the name when this returns."""
        path = self.readable_file("".join(f"{name}\t{unique_id}\n" for name, unique_id in LIST))
        daemon = self.popen(user, APPLISTD, f"--address={self.bus.address}", f"--items={path}",
                            stderr=subprocess.PIPE, text=True)
        self.addCleanup(self._end, daemon, Output(daemon.stderr))
        watcher = Partner(self.bus)
        self.addCleanup(watcher.close)
        watcher.wait_for_owner()

    def _end(self, daemon, said):
        daemon.terminate()
        self.assertEqual(daemon.wait(DEADLINE), 0, said.rest())

    def begin(self, user, *words):
        """Somebody who tries something; see as_user.py."""
        program = os.path.join(os.path.dirname(__file__), "as_user.py")
        process = self.popen(user, sys.executable, program, self.bus.address, *words, text=True,
                             stdout=subprocess.PIPE)
        self.addCleanup(self._see_it_end, process)
        return Output(process.stdout)

    @staticmethod
    def _see_it_end(process):
        process.kill()
        process.wait(DEADLINE)

    def result_of(self, user, *words):
        return self.begin(user, *words).wait_for("")

    def results(self, *words):
        return {user.name: self.result_of(user, *words) for user in EVERYBODY}

    def assert_results(self, results, owner, member, stranger):
        self.assertEqual(results, {OWNER.name: owner, MEMBER.name: member,
                                   STRANGER.name: stranger})


class WhoMayOwn(ASystemBus):
    def test_is_the_daemons_user_alone(self):
        self.assert_results(self.results("own"), "allowed 1", DENIED, DENIED)


class WhoMayCall(ASystemBus):
    def setUp(self):
        super().setUp()
        self.serve_as(OWNER)

    def methods(self):
        """All that the daemon says of itself, and it says it to one of the group."""
        program = ("import sys, introspection, as_user\n"
                   "for each in introspection.introspected(as_user.Address(sys.argv[1]))"
                   ".iter('interface'):\n"
                   "    for method in each.iter('method'):\n"
                   "        print(each.get('name'), method.get('name'))\n")
        path = os.pathsep.join([os.path.dirname(__file__), os.environ["PYTHONPATH"]])
        asked = self.popen(MEMBER, "env", f"PYTHONPATH={path}", sys.executable, "-c", program,
                           self.bus.address, stdout=subprocess.PIPE, text=True)
        said, _ = asked.communicate(timeout=DEADLINE)
        return [line.split() for line in said.splitlines()]

    def test_is_the_group_for_every_method_that_there_is(self):
        methods = self.methods()
        self.assertEqual(len(methods), 12, methods)
        for interface, member in methods:
            with self.subTest(interface=interface, member=member):
                results = self.results("call", interface, member)

                self.assertEqual(results.pop(STRANGER.name), DENIED)
                for user, result in results.items():
                    # The daemon's own answer: nothing can be set.
                    expected = READ_ONLY if member == "Set" else "allowed"
                    self.assertEqual(result.split()[0], expected, user)

    def test_is_the_group_for_the_list(self):
        self.assert_results(self.results("call", items.INTERFACE, "Message"), f"allowed {LIST}",
                            f"allowed {LIST}", DENIED)

    def test_is_the_group_for_the_serial(self):
        self.assert_results(self.results("call", PROPERTIES, "Get"), "allowed 0", "allowed 0",
                            DENIED)

    def test_is_the_group_for_a_channel_and_the_list_over_it(self):
        self.assert_results(self.results("channel"), f"allowed {LIST}", f"allowed {LIST}", DENIED)

    def test_is_nobody_without_an_interface(self):
        self.assert_results(self.results("call-without-interface", "Message"), DENIED, DENIED,
                            DENIED)

    def test_is_nobody_for_what_the_daemon_does_not_have(self):
        self.assert_results(self.results("call", items.INTERFACE, "Shutdown"), DENIED, DENIED,
                            DENIED)
        self.assert_results(
            self.results("call", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"),
            DENIED, DENIED, DENIED)

    def test_is_nobody_with_a_descriptor_too_many(self):
        for member in ("Connect", "Message", "Notify", "Channel"):
            with self.subTest(member=member):
                self.assert_results(self.results("call-with-descriptor", member), DENIED, DENIED,
                                    DENIED)


class WhoMayHear(ASystemBus):
    def setUp(self):
        super().setUp()
        self.serve_as(OWNER)

    def test_is_everyone_as_an_event_is_a_number(self):
        listeners = [self.begin(user, "hear") for user in EVERYBODY]
        for listener in listeners:
            listener.wait_for("listening")

        self.result_of(MEMBER, "select", "music")

        for listener in listeners:
            self.assertEqual(listener.wait_for(""), f"allowed {items.ITEM_SELECTION}")


class ADaemonOfAnotherUser(ASystemBus):
    def test_does_not_start(self):
        for user in (MEMBER, STRANGER):
            with self.subTest(user=user.name):
                path = self.readable_file("Maps\tmaps\n")
                daemon = self.popen(user, APPLISTD, f"--address={self.bus.address}",
                                    f"--items={path}", stderr=subprocess.PIPE, text=True)
                _, said = daemon.communicate(timeout=DEADLINE)

                self.assertEqual(daemon.returncode, 1, said)
                self.assertIn("the bus's policy does not allow it", said)


if __name__ == "__main__":
    unittest.main()
