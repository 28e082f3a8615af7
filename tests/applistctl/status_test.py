# SPDX-License-Identifier: MIT

"""Exit statuses, and the one line that goes with each that is not 0."""

import os
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from support import items
from support.partner import wait_for_match_rule
from support.processes import DEADLINE
from tool import MAPS, MUSIC, ConfiguredBus, ToolTest

NOWHERE = "unix:path=/nonexistent/bus"

# One invocation of every command that talks to a service, with words that suit it.
EVERY_COMMAND = [("list",), ("selection",), ("select", "maps"), ("add", "Mail", "mail"),
                 ("import", "/dev/null"), ("replace", "mail", "Post", "post"), ("remove", "mail"),
                 ("clear", "--yes"), ("watch",), ("call", "GetAllItems"), ("status",), ("wait",),
                 ("sync", "--yes", "/dev/null"), ("selection", "--follow")]

# Nobody may send a message to the service.
POLICY = """<busconfig><type>session</type><listen>{address}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/>
<deny send_interface="org.tessel.Local1" send_member="Message"/></policy></busconfig>"""


class AWrongCommandLine(ToolTest):
    ITEMS = None

    def complaint(self, *arguments):
        return self.complaint_of(2, *arguments)

    def test_without_a_command_names_them_all(self):
        complaint = self.complaint()
        self.assertTrue(complaint.endswith("; see applistctl --help"), complaint)
        for command in EVERY_COMMAND:
            self.assertIn(command[0], complaint)

    def test_with_a_misspelt_command_gets_the_near_one(self):
        for wrong, right in (("lst", "list"), ("lsit", "list"), ("ad", "add"), ("Watch", "watch"),
                             ("selct", "select"), ("imprt", "import"), ("rem", "remove")):
            self.assertEqual(self.complaint(wrong),
                             f"unknown command {wrong}; did you mean {right}? "
                             "See applistctl --help")

    def test_with_a_strange_command_gets_them_all(self):
        complaint = self.complaint("frobnicate")
        self.assertRegex(complaint, r"\Aunknown command frobnicate; use one of list, ")
        self.assertTrue(complaint.endswith("; see applistctl --help"), complaint)

    def test_names_an_unknown_option(self):
        for command in (("list",), ("select",), ("select", "a")):
            self.assertEqual(self.complaint(*command, "--frob"),
                             f"unknown option --frob; see applistctl {command[0]} --help, or write "
                             "-- before a name or an id that begins with -")
        self.assertEqual(self.complaint("--frob"), "unknown option --frob; see applistctl --help")

    def test_names_a_word_too_many(self):
        self.assertEqual(self.complaint("select", "a", "b"),
                         "one word too many: b; see applistctl select --help")
        self.assertEqual(self.complaint("remove", "--", "-x", "-y"),
                         "one word too many: -y; see applistctl remove --help")

    def test_names_a_missing_word(self):
        for arguments, word in ((("select",), "ID"), (("add",), "NAME"), (("add", "Maps"), "ID"),
                                (("replace", "a", "b"), "ID"), (("call",), "FUNCTION")):
            self.assertIn(f"{word} is required; see applistctl {arguments[0]} --help",
                          self.complaint(*arguments))

    def test_names_a_bad_value(self):
        for option, value in (("--timeout", "0"), ("--timeout", "-1"), ("--timeout", "soon"),
                              ("--timeout", "nan"), ("--timeout", "1e9"), ("--json", "xml"),
                              ("--address", ""), ("--host", "")):
            self.assertIn(option, self.complaint("list", f"{option}={value}"))
        self.assertEqual(self.complaint("list", "--timeout=1e9"),
                         "--timeout: 1e9 is not a number of seconds from 0.001 to 86400; "
                         "see applistctl list --help")
        for count in ("0", "-1", "many", "9" * 30):
            self.assertEqual(self.complaint("watch", f"--count={count}"),
                             f"--count: {count} is not a whole number of lines, 1 or more; "
                             "see applistctl watch --help")

    def test_names_a_missing_value_and_one_too_many(self):
        self.assertEqual(self.complaint("list", "--timeout"),
                         "--timeout needs a value; see applistctl list --help")
        for option in ("--session", "--user", "--system", "--wait", "--no-start", "--verbose"):
            self.assertEqual(self.complaint("list", option + "=yes"),
                             f"{option} takes no value; see applistctl list --help")

    def test_names_a_style_that_does_not_follow_its_option(self):
        self.assertEqual(self.complaint("list", "--json", "pretty"),
                         "one word too many: pretty; put a = before the style of JSON: "
                         "--json=pretty")
        for option in ("--json=", "-j="):
            self.assertEqual(self.complaint("list", option),
                             "--json= names no style; write --json, --json=short or --json=pretty")

    def test_names_one_bus_only(self):
        for pair in (("--session", "--system"), ("--session", "--address=" + NOWHERE),
                     ("--system", "--address=" + NOWHERE), ("--host=a", "--address=" + NOWHERE)):
            self.assertIn("give only one of them", self.complaint("list", *pair))

    def test_names_the_option_that_took_the_command(self):
        for option, value in (("--host", "USER@HOST"), ("-H", "USER@HOST"), ("--address", "ADDR")):
            for rest in ((), ("--count", "3"), ("maps",)):
                self.assertEqual(self.complaint(option, "watch", *rest),
                                 f"no command: {option} has taken the word watch for its value; "
                                 f"write {option} {value} watch")

    def test_says_where_clicks_went(self):
        for words in (("click",), ("click", "maps")):
            self.assertEqual(self.complaint(*words),
                             "click is no command, as services do not carry out clicks of "
                             "partners; click where the list is shown, or select; applistctl call "
                             "SetClicked asks all the same")

    def test_counts_no_lines_of_what_has_one(self):
        self.assertEqual(self.complaint("selection", "--count=2"),
                         "--count needs --follow; without it there is one line at most")

    def test_does_not_synchronize_with_a_file_without_items_unasked(self):
        self.assertEqual(self.complaint("sync", "/dev/null"),
                         "/dev/null holds no item, and sync would remove all that partners added; "
                         "use --yes if that is meant")

    def test_shows_control_bytes_as_text(self):
        self.assertIn("unknown command \\x1b[31m\\x0ared", self.complaint("\x1b[31m\nred"))

    def test_names_the_function_that_was_meant(self):
        self.assertEqual(self.complaint("call", "getallitem"),
                         "unknown function getallitem; did you mean GetAllItems?")


class TheCommandLine(ToolTest):
    def test_takes_options_before_and_after_the_command(self):
        json = '{"name":"Maps","id":"maps"}\n'
        address = f"--address={self.bus.address}"
        for arguments in (("-j", address, "selection"), ("selection", "-j", address),
                          ("-j", "selection", address), ("--json", "selection", address)):
            self.assertEqual(self.output_of(*arguments, DBUS_SESSION_BUS_ADDRESS=NOWHERE), json)

    def test_takes_the_session_bus(self):
        for option in ("--session", "--user"):
            self.assertEqual(self.output_of(option, "selection"), "Maps\tmaps\n")

    def test_takes_the_last_of_an_option_that_is_repeated(self):
        address = "--address=" + self.bus.address
        out = self.output_of("selection", "--address=" + NOWHERE,
                             "--address=" + self.bus.address, "--json=pretty", "--json=short",
                             "--timeout=0.001", "--timeout=30")
        self.assertEqual(out, '{"name":"Maps","id":"maps"}\n')

    def test_takes_a_style_behind_the_short_option(self):
        pretty = '{\n  "name": "Maps",\n  "id": "maps"\n}\n'
        for option in ("-j=pretty", "-jpretty"):
            self.assertEqual(self.output_of("selection", option), pretty)
        self.assertEqual(self.output_of("-j=short", "selection"), '{"name":"Maps","id":"maps"}\n')
        self.assertIn("--json: xml is neither", self.complaint_of(2, "list", "-j=xml"))

    def test_takes_what_looks_like_a_style_after_two_dashes(self):
        self.assertEqual(self.output_of("add", "--", "x", "-j=pretty"), "added\tx\t-j=pretty\n")

    def test_takes_a_host_that_is_called_like_a_command_with_a_sign_between(self):
        self.assertIn("no command; use one of", self.complaint_of(2, "--host=list"))

    def test_takes_an_id_that_is_json_after_two_dashes(self):
        self.assertEqual(self.output_of("add", "--", "x", "--json="), "added\tx\t--json=\n")

    def test_takes_the_system_bus(self):
        out = self.output_of("--system", "selection", DBUS_SESSION_BUS_ADDRESS=NOWHERE,
                             DBUS_SYSTEM_BUS_ADDRESS=self.bus.address)
        self.assertEqual(out, "Maps\tmaps\n")

    def test_takes_the_system_bus_when_there_is_no_session(self):
        out = self.output_of("selection", DBUS_SESSION_BUS_ADDRESS="", XDG_RUNTIME_DIR="",
                             DBUS_SYSTEM_BUS_ADDRESS=self.bus.address)
        self.assertEqual(out, "Maps\tmaps\n")

    def test_shows_a_help_that_leads_with_examples(self):
        text = self.output_of("--help")
        self.assertTrue(text.startswith("Examples:\n  applistctl list "), text)
        for word in [command[0] for command in EVERY_COMMAND] + [
                "--json[=STYLE]", "--session", "--system", "--address", "--host", "--timeout",
                "--wait", "--no-start", "--verbose", "--version", "Exit status: 0 done; 1 ",
                "its result could not be written"]:
            self.assertIn(word, text)
        self.assertLessEqual(max(map(len, text.splitlines())), 100)

    def test_shows_the_help_when_asked_in_a_word(self):
        self.assertEqual(self.output_of("help"), self.output_of("--help"))
        self.assertEqual(self.output_of("help", "watch"), self.output_of("watch", "--help"))

    def test_says_in_the_help_of_all_that_follow_how_they_do(self):
        for command in ("watch", "selection", "wait"):
            text = self.output_of(command, "--help")
            self.assertIn("reported together", text)
            self.assertIn("APPLIST_DIRECT=0", text)
            self.assertLessEqual(max(map(len, text.splitlines())), 100)

    def test_shows_a_help_for_every_command(self):
        for command in EVERY_COMMAND:
            text = self.output_of(command[0], "--help")
            self.assertIn(f"Usage: applistctl {command[0]}", text)
            self.assertIn("applistctl --help", text)

    def test_shows_the_version(self):
        self.assertRegex(self.output_of("--version"), r"\Aapplistctl \d+\.\d+\.\d+\n\Z")

    def test_says_what_happens_inside_when_asked(self):
        result = self.run_tool("list", "--verbose")
        self.assertEqual((result.status, result.out), (0, b"Maps\tmaps\nMusic\tmusic\n"))
        self.assertIn("applist[debug]: ", result.err)


class ABusWithoutTheService(ToolTest):
    ITEMS = None

    def waiting(self, *command):
        """The command, run with --wait, when it follows the bus."""
        process = self.popen(*command, "--wait", stdout=subprocess.PIPE)
        wait_for_match_rule(self.bus, f"arg0='{items.BUS_NAME}'")
        return process

    def test_can_be_waited_on(self):
        for command, out in ((("list",), "Maps\tmaps\n"), (("call", "2002"), "Maps\tmaps\n"),
                             (("add", "A", "a"), "added\tA\ta\n")):
            with self.subTest(command=command[0]):
                process = self.waiting(*command)
                self.serve("Maps\tmaps\n")
                self.assertEqual(process.communicate(timeout=DEADLINE), (out, ""))
                self.assertEqual(process.returncode, 0)
                self.daemon.stop()

    def test_is_waited_on_for_the_time_of_an_answer(self):
        for command in (("list",), ("call", "2002")):
            start = time.monotonic()
            complaint = self.complaint_of(3, *command, "--wait", "--timeout=0.5")
            self.assertIn("nobody owns org.tessel.Local.Applist", complaint)
            self.assertNotIn("--wait", complaint)
            self.assertGreater(time.monotonic() - start, 0.5)

    def test_is_status_3_for_every_command(self):
        for command in EVERY_COMMAND:
            with self.subTest(command=command[0]):
                complaint = self.complaint_of(3, *command, "--timeout=0.5")
                self.assertIn("nobody owns org.tessel.Local.Applist", complaint)
                self.assertIn(self.bus.address, complaint)
                self.assertIn("start the service", complaint)
                hint = "wait for it with --wait"
                # It has waited.
                (self.assertNotIn if command == ("wait",) else self.assertIn)(hint, complaint)
                self.assertIn("--address", complaint)


class NoBus(ToolTest):
    ITEMS = None

    def test_is_status_3_for_every_command(self):
        for command in EVERY_COMMAND:
            with self.subTest(command=command[0]):
                complaint = self.complaint_of(3, *command, "--address=" + NOWHERE)
                self.assertIn(f"cannot reach the bus at {NOWHERE}: No such file", complaint)

    def test_is_status_3_when_there_is_no_session(self):
        complaint = self.complaint_of(3, "list", "--session", DBUS_SESSION_BUS_ADDRESS="",
                                      XDG_RUNTIME_DIR="")
        self.assertIn("no session bus", complaint)

    def test_is_status_3_when_there_is_neither_a_session_nor_a_system_bus(self):
        complaint = self.complaint_of(3, "list", DBUS_SESSION_BUS_ADDRESS="", XDG_RUNTIME_DIR="",
                                      DBUS_SYSTEM_BUS_ADDRESS=NOWHERE)
        self.assertEqual(complaint, f"cannot reach the system bus at {NOWHERE}: No such file or "
                                    "directory; there is no session bus: DBUS_SESSION_BUS_ADDRESS "
                                    "is not set and XDG_RUNTIME_DIR has no bus; start the program "
                                    "with dbus-run-session, or choose another bus")

    def test_is_status_3_when_it_says_nothing_in_time(self):
        with tempfile.TemporaryDirectory(prefix="applistctl-bus-") as folder, \
                socket.socket(socket.AF_UNIX) as silent:
            silent.bind(os.path.join(folder, "bus"))
            silent.listen()
            start = time.monotonic()
            complaint = self.complaint_of(3, "list", f"--address=unix:path={folder}/bus",
                                          "--timeout=0.2")
            self.assertLess(time.monotonic() - start, 4, "the time is 5 s without --timeout")
        self.assertIn("Connection timed out", complaint)

    def test_is_status_3_when_an_address_is_nonsense(self):
        self.assertIn("nonsense", self.complaint_of(3, "list", "--address=nonsense"))


class AServiceThatWasStopped(ToolTest):
    def setUp(self):
        super().setUp()
        self.daemon.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self.daemon.process.send_signal, signal.SIGCONT)

    def test_is_status_3_for_every_command(self):
        for command in EVERY_COMMAND:
            with self.subTest(command=command[0]):
                complaint = self.complaint_of(3, *command, "--timeout=0.2")
                self.assertIn("no answer in time", complaint)
                self.assertIn("with --timeout", complaint)

    def test_can_be_waited_for(self):
        process = self.popen("list", "--timeout=60", stdout=subprocess.PIPE)
        # Its question is at the service's door by now or later; either way it is answered.
        self.daemon.process.send_signal(signal.SIGCONT)
        out, err = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, out, err), (0, "Maps\tmaps\nMusic\tmusic\n", ""))

    def test_does_not_keep_an_interrupt_waiting(self):
        process = self.popen("list", "--timeout=60", "--verbose", stdout=subprocess.PIPE)
        # Its first line: it has reached the bus.
        self.assertTrue(process.stderr.readline())
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, out), (130, ""))


class ABusThatRefuses(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.bus = ConfiguredBus(POLICY)
        self.addCleanup(self.bus.remove)
        self.serve("Maps\tmaps\n")

    def test_is_status_4_for_every_command(self):
        for command in EVERY_COMMAND:
            with self.subTest(command=command[0]):
                complaint = self.complaint_of(4, *command)
                self.assertIn("the bus's policy refuses the call", complaint)
                self.assertIn("ask for a policy", complaint)


class AServiceThatLeavesDuringACall(ToolTest):
    ITEMS = None

    def test_is_status_3_and_may_have_done_it(self):
        self.script("2005=leave")
        self.assertIn("may or may not have executed; read the list",
                      self.complaint_of(3, "add", "Mail", "mail"))


class AServiceThatAnswersWithAnError(ToolTest):
    ITEMS = None

    def test_is_status_1_for_every_command(self):
        self.script("2002=fail")
        for command in EVERY_COMMAND:
            with self.subTest(command=command[0]):
                self.assertRegex(self.complaint_of(1, *command),
                                 "the service answered with an error: .*; its log may say more$")


class AnOutputThatCannotBeWritten(ToolTest):
    def setUp(self):
        super().setUp()
        full = open("/dev/full", "wb")
        self.addCleanup(full.close)
        self.outputs = (({"stdout": full},
                         "No space left on device; free some space, or send the output elsewhere"),
                        ({"closed": ">&-"}, "Bad file descriptor; send the output elsewhere"))

    def test_is_told(self):
        for output, why in self.outputs:
            for command in (("list",), ("list", "--json"), ("watch", "--count=1"), ("--help",),
                            ("list", "--help"), ("--version",), ("call", "2002")):
                if command[0] == "watch" and "closed" not in output:
                    continue  # nothing is written before something happens
                with self.subTest(output=output, command=command):
                    self.assertEqual(self.complaint_of(1, *command, **output),
                                     "cannot write to standard output: " + why)

    def test_does_not_undo_an_edit(self):
        for output, why in self.outputs:
            for style in ((), ("--json",)):
                self.assertEqual(self.complaint_of(1, "add", "--again", "F", "f", *style, **output),
                                 "the edit was carried out, but its result cannot be written to "
                                 "standard output: " + why)
        self.assertEqual(self.all_items(), [MAPS, MUSIC] + [("F", "f")] * 4)


if __name__ == "__main__":
    unittest.main()
