# SPDX-License-Identifier: MIT

"""What applistd says to a wrong command line, to a wrong file and to a bus that it cannot use."""

import os
import subprocess
import unittest

import dbus
from support import items
from support.case import AppTest
from support.processes import APPLISTD, DEADLINE, run_applistd

NOWHERE = "unix:path=/nonexistent/bus"
LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded"
LIMITS = ("--max-items", "--max-bytes", "--max-request", "--max-fd-request", "--max-fd-reply",
          "--max-partners", "--max-held", "--max-held-senders", "--max-channels")


class AWrongCommandLine(unittest.TestCase):
    def complaint(self, *arguments):
        status, out, err = run_applistd(*arguments)
        self.assertEqual(status, 2, err)
        self.assertEqual(out, "")
        self.assertRegex(err, r"\Aapplistd: [^\n]+\n\Z", "not one line")
        return err

    def test_names_an_unknown_option_and_where_to_read_on(self):
        err = self.complaint("--frobnicate")
        self.assertIn("--frobnicate", err)
        self.assertIn("applistd --help", err)

    def test_names_a_stray_argument(self):
        self.assertIn("apps.txt", self.complaint("apps.txt"))

    def test_says_that_a_file_is_missing(self):
        self.assertIn("--items", self.complaint("--items"))

    def test_says_that_a_file_name_is_empty(self):
        self.assertIn("--items", self.complaint("--items", ""))

    def test_says_that_an_address_is_empty(self):
        self.assertIn("--address", self.complaint("--address="))

    def test_does_not_take_a_value_for_a_flag(self):
        self.assertIn("session", self.complaint("--session=false"))

    def test_does_not_take_a_file_twice(self):
        self.assertIn("--items", self.complaint("--items", "a", "--items", "b"))

    def test_names_one_bus_only(self):
        for pair in (("--session", "--system"), ("--session", "--address=" + NOWHERE),
                     ("--system", "--address=" + NOWHERE)):
            self.assertIn("give only one of them", self.complaint(*pair))

    def test_does_not_read_items_and_commands_from_one_input(self):
        self.assertIn("standard input", self.complaint("--items", "-", "--interactive"))

    def test_says_what_a_limit_looks_like(self):
        for option in LIMITS:
            for wrong in ("many", "-1", "1.5", "64MB", "K", "0x10", " 1", "1 ", "None"):
                err = self.complaint(f"{option}={wrong}")
                self.assertIn(option, err)
                self.assertIn("5000 or 64M, or none", err)

    def test_says_that_a_limit_is_more_than_there_can_be(self):
        for wrong in ("99999999999999999999", "18446744073709551615G"):
            err = self.complaint("--max-bytes", wrong)
            self.assertIn("--max-bytes", err)
            self.assertIn("give none for no limit", err)

    def test_says_between_what_values_a_limit_of_the_transport_may_be(self):
        for option, wrong, limit, least, most in (
                ("--max-request", "0", "requestBytes", "1", "[0-9]+"),
                ("--max-fd-request", "0", "fdRequestBytes", "1", "[0-9]+"),
                ("--max-fd-reply", "0", "fdBytes", "1", "[0-9]+"),
                ("--max-partners", "501", "partners", "1", "500"),
                ("--max-partners", "none", "partners", "1", "500"),
                ("--max-held", "1023K", "heldBytes", "1048576", "[0-9]+"),
                ("--max-held-senders", "1K", "heldSenders", "1", "500"),
                ("--max-channels", "65", "channels", "0", "64")):
            self.assertRegex(self.complaint(option, wrong),
                             f"{option}: .*::{limit} is [0-9]+; .* between {least} and {most};")

    def test_does_not_take_a_limit_twice(self):
        self.assertIn("--max-items", self.complaint("--max-items=1", "--max-items=2"))

    def test_shows_control_bytes_of_an_argument_as_text(self):
        err = self.complaint("\x1b[31m\nred")
        self.assertIn("\\x1b[31m\\x0ared", err)


class TheCommandLine(unittest.TestCase):
    def test_shows_a_help_that_leads_with_examples(self):
        status, out, err = run_applistd("--help")
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.startswith("Examples:\n  applistd "), out)
        for option in ("--items", "--interactive", "--session", "--system", "--address",
                       "--verbose", "--help", "--version", "APPLIST_LOG=", *LIMITS):
            self.assertIn(option, out)
        self.assertLessEqual(max(map(len, out.splitlines())), 100)

    def test_shows_the_version(self):
        status, out, err = run_applistd("--version")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"\Aapplistd \d+\.\d+\.\d+\n\Z")


class AnOutputThatCannotBeWritten(unittest.TestCase):
    def complaint(self, argument, **stdout):
        done = subprocess.run([APPLISTD, argument], stderr=subprocess.PIPE, text=True,
                              timeout=DEADLINE, check=False, **stdout)
        self.assertEqual(done.returncode, 1, done.stderr)
        return done.stderr

    def test_is_told_of_a_full_device(self):
        with open("/dev/full", "wb") as full:
            for argument in ("--help", "--version"):
                self.assertEqual(self.complaint(argument, stdout=full),
                                 "applistd: cannot write to standard output: No space left on "
                                 "device; free some space, or send the output elsewhere\n")

    def test_is_told_of_a_closed_stream(self):
        for argument in ("--help", "--version"):
            self.assertEqual(self.complaint(argument, preexec_fn=lambda: os.close(1)),
                             "applistd: cannot write to standard output: Bad file descriptor; "
                             "send the output elsewhere\n")


class AFileOfItems(AppTest):
    def complaint(self, text):
        self.path = self.file(text)
        status, out, err = run_applistd(f"--address={self.bus.address}", "--items", self.path)
        self.assertEqual((status, out), (1, ""), err)
        self.assertRegex(err, r"\Aapplistd: [^\n]+\n\Z", "not one line")
        return err

    def test_is_published_in_its_order(self):
        self.start("--items", self.file("Music\tmusic\nMaps\tmaps\nMaps again\tmaps\n"))
        self.assertEqual(self.partner().all_items(),
                         [("Music", "music"), ("Maps", "maps"), ("Maps again", "maps")])

    def test_may_be_empty(self):
        self.start("--items", self.file(""))
        self.assertEqual(self.partner().all_items(), [])

    def test_names_the_file_the_line_and_the_cause_of_a_malformed_line(self):
        err = self.complaint("Music\tmusic\nMaps maps\n")
        self.assertEqual(err, f"applistd: {self.path}:2: no TAB between the name and the id; "
                              "insert one\n")

    def test_publishes_nothing_when_a_line_is_malformed(self):
        ui = self.partner()
        self.complaint("Music\tmusic\nMaps maps\n")
        self.assertFalse(ui.service_is_there())
        self.assertEqual(ui.owners_seen(), [], "the name was owned for a while")

    def test_names_a_last_line_without_its_end(self):
        self.assertIn(":1: the last line does not end", self.complaint("Music\tmusic"))

    def test_that_is_not_there_is_named_with_the_cause(self):
        status, _, err = run_applistd(f"--address={self.bus.address}", "--items", "/nonexistent/x")
        self.assertEqual(status, 1)
        self.assertRegex(err, r"\Aapplistd: cannot open /nonexistent/x: [^\n]+\n\Z")

    def test_may_come_on_standard_input(self):
        with open(self.file("Maps\tmaps\n"), encoding="utf-8") as maps:
            self.start("--items", "-", stdin=maps)
        self.assertEqual(self.partner().all_items(), [("Maps", "maps")])


class AStderrThatNoJournalReads(AppTest):
    def start_with(self, level, *arguments):
        return self.start("--items", self.file("Maps\tmaps\n"), *arguments,
                          environment={"APPLIST_LOG": level})

    def test_is_told_nothing_while_nothing_is_wrong(self):
        daemon = self.start_with("")
        self.assertEqual(self.partner().ids(), ["maps"])
        self.assertEqual(daemon.stop(), 0)
        self.assertEqual(daemon.err.rest(), [])

    def test_is_told_more_when_the_environment_asks_for_it(self):
        self.start_with("info").err.wait_for("Publishing 1 applications on ")

    def test_is_told_everything_when_the_command_line_asks_for_it(self):
        daemon = self.start_with("error", "--verbose")
        self.partner().ids()
        daemon.err.wait_for("applist[debug]: ")


class ALimit(AppTest):
    def added(self, *limits):
        """What of six items of 10 bytes each a partner can add, one by one."""
        daemon = self.start("--items", "/dev/null", *limits)
        ui = self.partner()
        for item in range(6):
            self.assertEqual(ui.call(items.ADD_ITEM_AT_END, f"Name {item}\tid {item}\n".encode()),
                             b"")
        return daemon, ui.ids()

    def test_of_items_is_kept_to_and_a_refusal_is_logged(self):
        daemon, ids = self.added("--max-items", "2")
        self.assertEqual(ids, ["id 0", "id 1"])
        daemon.err.wait_for("partners have 2 of 2 items")

    def test_of_bytes_is_kept_to_and_a_refusal_is_logged(self):
        daemon, ids = self.added("--max-bytes=39")
        self.assertEqual(ids, ["id 0", "id 1", "id 2"])
        daemon.err.wait_for("30 of 39 bytes")

    def test_of_none_at_all_keeps_partners_from_adding(self):
        self.assertEqual(self.added("--max-items=0")[1], [])

    def test_of_bytes_may_have_a_unit(self):
        self.assertEqual(len(self.added("--max-bytes=1K", "--max-items=1K")[1]), 6)

    def test_may_be_lifted(self):
        self.assertEqual(len(self.added("--max-bytes=none", "--max-items=none")[1]), 6)


class ALimitOfTheTransport(AppTest):
    def start_with(self, *limits):
        self.start("--items", self.file("Maps\tmaps\n"), *limits)
        return self.partner()

    def refusal(self, name, call, *arguments):
        with self.assertRaises(dbus.exceptions.DBusException) as caught:
            call(*arguments)
        self.assertEqual(caught.exception.get_dbus_name(), name)
        return caught.exception.get_dbus_message()

    def test_of_requests_lets_one_through_that_just_fits(self):
        ui = self.start_with("--max-request=1K")
        ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "r" * 1013))
        self.assertEqual(ui.names(), ["Maps", "Radio"])

    def test_of_requests_is_told_to_whom_it_refuses(self):
        ui = self.start_with("--max-request=1K")
        text = self.refusal(LIMITS_EXCEEDED, ui.call, items.ADD_ITEM_AT_END,
                            items.item("Radio", "r" * 1014))
        self.assertEqual(text, "not executed: the request holds 1025 bytes; send at most 1024 in "
                               "one call")
        self.assertEqual(ui.names(), ["Maps"])

    def test_of_requests_in_descriptors_is_one_of_its_own(self):
        ui = self.start_with("--max-request=1K", "--max-fd-request=2K")
        ui.call_fd(items.ADD_ITEM_AT_END, items.item("Radio", "r" * 2037))
        self.assertIn("send at most 2048 in one call",
                      self.refusal(LIMITS_EXCEEDED, ui.call_fd, items.ADD_ITEM_AT_END,
                                   items.item("Music", "m" * 2038)))
        self.assertEqual(ui.names(), ["Maps", "Radio"])

    def test_of_replies_in_descriptors_is_kept_to(self):
        ui = self.start_with("--max-fd-reply=20")
        self.assertEqual(items.items(ui.call_fd(items.GET_ALL_ITEMS)), [("Maps", "maps")])
        ui.call(items.ADD_ITEM_AT_END, items.item("Radio", "radio"))
        self.assertIn("the reply of 22 bytes is too large",
                      self.refusal(items.INTERFACE + ".Error.TooLarge", ui.call_fd,
                                   items.GET_ALL_ITEMS))

    def test_of_partners_refuses_one_more_until_one_leaves(self):
        first = self.start_with("--max-partners=1")
        second = self.partner()
        first.connect()
        self.assertIn("too many partners", self.refusal(LIMITS_EXCEEDED, second.connect))
        first.disconnect()
        second.connect()

    def test_may_be_set_for_what_waits(self):
        self.assertEqual(self.start_with("--max-held=2M", "--max-held-senders=1").ids(), ["maps"])

    def test_may_be_lifted_where_it_is_one_of_bytes(self):
        ui = self.start_with("--max-request=none", "--max-fd-request=none", "--max-fd-reply=none",
                             "--max-held=none")
        self.assertEqual(ui.ids(), ["maps"])


class ABusThatCannotBeUsed(AppTest):
    def complaint(self, *arguments, environment=None):
        status, out, err = run_applistd(*arguments, "--items", "/dev/null",
                                        environment=environment)
        self.assertEqual((status, out), (1, ""), err)
        last = err.splitlines()[-1]
        self.assertTrue(last.startswith("applistd: "), err)
        return last

    def test_is_named_with_the_cause_when_nothing_is_there(self):
        line = self.complaint("--address=" + NOWHERE)
        self.assertIn(NOWHERE, line)
        self.assertIn("No such file or directory", line)

    def test_is_named_when_its_address_is_none(self):
        self.assertIn("nonsense", self.complaint("--address=nonsense"))

    def test_is_said_to_be_missing_when_there_is_no_session(self):
        line = self.complaint("--session", environment={"DBUS_SESSION_BUS_ADDRESS": "",
                                                        "XDG_RUNTIME_DIR": ""})
        self.assertIn("session bus", line)

    def test_is_the_system_bus_when_that_was_asked_for(self):
        line = self.complaint("--system", environment={"DBUS_SYSTEM_BUS_ADDRESS": NOWHERE})
        self.assertIn(NOWHERE, line)

    def test_names_who_has_the_name_already(self):
        first = self.start("--items", "/dev/null")
        line = self.complaint(f"--address={self.bus.address}")
        self.assertIn(items.BUS_NAME, line)
        self.assertIn(str(first.process.pid), line)


if __name__ == "__main__":
    unittest.main()
