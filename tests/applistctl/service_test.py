# SPDX-License-Identifier: MIT

"""status and wait: whether there is a service, and which."""

import signal
import subprocess
import time
import unittest

from support import items
from support.partner import wait_for_match_rule
from support.processes import DEADLINE
from tool import TWO_ITEMS, ToolTest, add


def fields(text):
    return [line.split("\t") for line in text.splitlines()]


class AStatus(ToolTest):
    def test_says_who_the_service_is_and_how_it_does(self):
        partner = self.partner()
        owner = partner.service_owner()
        self.assertEqual(fields(self.output_of("status")),
                         [["bus", f"the session bus at {self.bus.address}"],
                          ["owner", owner], ["pid", str(self.daemon.process.pid)],
                          ["program", "applistd"], ["items", "2"],
                          ["selection", "Maps", "maps"], ["partners", "0"], ["serial", "0"]])

    def test_counts_the_partners_and_not_itself(self):
        partner = self.partner()
        partner.connect()
        watch = self.watch()
        self.assertIn(["partners", "2"], fields(self.output_of("status")))
        watch.interrupt()
        partner.disconnect()
        self.assertIn(["partners", "0"], fields(self.output_of("status")))

    def test_counts_the_notifications(self):
        partner = self.partner()
        add(partner, "Mail", "mail")
        partner.select("mail")
        self.assertEqual(fields(self.output_of("status"))[4:],
                         [["items", "3"], ["selection", "Mail", "mail"], ["partners", "0"],
                          ["serial", "2"]])

    def test_of_an_empty_list_has_no_selection(self):
        self.output_of("clear", "--yes")
        self.assertIn(["selection", "", ""], fields(self.output_of("status")))
        self.assertIn('"selection":null', self.output_of("status", "-j"))

    def test_names_the_bus_that_was_chosen(self):
        for option, name in (("--session", "the session bus"),
                             (f"--address={self.bus.address}", "the bus")):
            self.assertEqual(fields(self.output_of("status", option))[0],
                             ["bus", f"{name} at {self.bus.address}"])

    def test_counts_a_list_too_large_for_one_message(self):
        lines = "".join("x" * 2**20 + f"\tid{n}\n" for n in range(17))
        self.daemon.stop()
        self.serve(lines)
        self.assertIn(["items", "17"], fields(self.output_of("status", "--timeout=30")))

    def test_is_complete_after_the_service_was_waited_for(self):
        self.daemon.stop()
        process = self.popen("status", "--wait", stdout=subprocess.PIPE)
        wait_for_match_rule(self.bus, f"arg0='{items.BUS_NAME}'")
        self.serve(TWO_ITEMS)
        out, err = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, err), (0, ""))
        self.assertIn(["items", "2"], fields(out))


class AStatusOfAServiceThatDoesNotCountItsPartners(ToolTest):
    ITEMS = None

    def test_leaves_them_out(self):
        self.script()
        found = fields(self.output_of("status"))
        self.assertEqual([each[0] for each in found],
                         ["bus", "owner", "pid", "program", "items", "selection", "serial"])
        self.assertTrue(self.output_of("status", "-j").endswith(
            '"partners":null,"serial":0}\n'))

    def test_takes_no_reply_that_is_no_list(self):
        self.script("2002=no item")
        self.assertIn("the reply was not understood", self.complaint_of(1, "status"))


class AWait(ToolTest):
    ITEMS = None

    def waiting(self, *options):
        process = self.popen("wait", *options, "--timeout=60", stdout=subprocess.PIPE)
        wait_for_match_rule(self.bus, f"arg0='{items.BUS_NAME}'")
        return process

    def test_ends_silently_when_the_service_is_there(self):
        self.serve(TWO_ITEMS)
        self.assertEqual(self.output_of("wait"), "")

    def test_ends_when_the_service_comes(self):
        process = self.waiting()
        self.serve(TWO_ITEMS)
        self.assertEqual(process.communicate(timeout=DEADLINE), ("", ""))
        self.assertEqual(process.returncode, 0)

    def test_ends_when_an_item_comes(self):
        self.serve(TWO_ITEMS)
        process = self.waiting("--item=mail")
        add(self.partner(), "Mail", "mail")
        self.assertEqual(process.communicate(timeout=DEADLINE), ("", ""))
        self.assertEqual(process.returncode, 0)

    def test_ends_when_a_service_with_the_item_comes(self):
        process = self.waiting("--item=music")
        self.serve("Maps\tmaps\n")
        self.daemon.stop()
        self.serve(TWO_ITEMS)
        self.assertEqual(process.communicate(timeout=DEADLINE), ("", ""))
        self.assertEqual(process.returncode, 0)

    def test_is_over_when_its_time_is(self):
        start = time.monotonic()
        complaint = self.complaint_of(3, "wait", "--timeout=0.5")
        self.assertIn("nobody owns org.tessel.Local.Applist", complaint)
        self.assertNotIn("--wait", complaint)
        self.assertGreater(time.monotonic() - start, 0.5)

    def test_is_over_after_five_seconds_when_nothing_else_is_said(self):
        start = time.monotonic()
        self.complaint_of(3, "wait")
        self.assertGreater(time.monotonic() - start, 5)

    def test_for_an_item_is_over_when_its_time_is(self):
        self.serve(TWO_ITEMS)
        self.assertEqual(self.complaint_of(1, "wait", "--item=mail", "--timeout=0.5"),
                         "no item has got the id mail in time; applistctl list shows the ids, or "
                         "allow more time with --timeout")

    def test_for_an_item_is_status_3_when_the_service_goes(self):
        service = self.script()
        process = self.popen("wait", "--item=mail", stdout=subprocess.PIPE)
        service.wait_for_call("channel")
        service.wait_for_call(2001)
        # It reads again for an event, and so has the list already.
        service.tell("notify 1")
        service.wait_for_call(2002)
        service.wait_for_call(2001)
        service.stop()
        out, err = process.communicate(timeout=DEADLINE)
        self.assertEqual((process.returncode, out), (3, ""), err)
        self.assertIn("nobody owns org.tessel.Local.Applist", err)

    def test_can_be_interrupted(self):
        process = self.waiting()
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.communicate(timeout=DEADLINE), ("", ""))
        self.assertEqual(process.returncode, 130)


if __name__ == "__main__":
    unittest.main()
