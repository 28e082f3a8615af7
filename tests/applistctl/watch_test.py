# SPDX-License-Identifier: MIT

"""watch: a line per event, at once, through whatever happens to the service and the reader."""

import contextlib
import glob
import json
import os
import re
import signal
import subprocess
import time
import unittest

from support import items
from support.processes import Applistd, DEADLINE, Output
from tool import ToolTest, add


class AWatch(ToolTest):
    def lines(self, watch, count):
        return [watch.next() for _ in range(count)]

    def test_says_what_it_watches(self):
        self.assertEqual(self.watch("--count=1").said, "applistctl: watching 2 items")

    def test_tells_a_selection(self):
        watch = self.watch()
        self.partner().select("music")
        self.assertEqual(watch.next(), "selected\tMusic\tmusic")

    def test_tells_items_added_and_removed(self):
        watch = self.watch()
        partner = self.partner()
        add(partner, "Mail", "mail")
        self.assertEqual(watch.next(), "added\tMail\tmail")
        partner.call(items.REMOVE_ITEM, items.item("", "mail"))
        self.assertEqual(watch.next(), "removed\tMail\tmail")

    def test_tells_a_cleared_list_item_by_item(self):
        watch = self.watch()
        self.partner().call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(self.lines(watch, 3),
                         ["removed\tMaps\tmaps", "removed\tMusic\tmusic", "selected\t\t"])

    def test_says_nothing_of_what_was_there_before(self):
        add(self.partner(), "Mail", "mail")
        watch = self.watch()
        self.partner().select("mail")
        self.assertEqual(watch.next(), "selected\tMail\tmail")

    def test_of_all_begins_with_the_list_and_its_selection(self):
        watch = self.watch("--all")
        self.assertEqual(self.lines(watch, 3), ["listed\tMaps\tmaps", "listed\tMusic\tmusic",
                                                "selected\tMaps\tmaps"])
        self.partner().select("music")
        self.assertEqual(watch.next(), "selected\tMusic\tmusic")

    def test_of_all_counts_those_lines(self):
        watch = self.watch("--all", "--count=2")
        self.assertEqual(watch.wait(), 0)
        self.assertEqual(watch.out.rest(), ["listed\tMaps\tmaps", "listed\tMusic\tmusic"])

    def test_of_all_says_that_nothing_is_selected(self):
        self.partner().call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(self.watch("--all").next(), "selected\t\t")

    def test_ends_after_as_many_lines_as_asked_for(self):
        watch = self.watch("--count=2")
        self.partner().call(items.ADD_ITEMS,
                            b"".join(items.item(name, name) for name in ("a", "b", "c")))
        self.assertEqual(watch.wait(), 0)
        self.assertEqual(watch.out.rest(), ["added\ta\ta", "added\tb\tb"])

    def test_ends_quietly_when_interrupted(self):
        watch = self.watch()
        self.assertEqual(watch.interrupt(), 130)
        self.assertEqual((watch.out.rest(), watch.err.rest()), ([], []))

    def test_ends_quietly_at_once_when_its_reader_leaves(self):
        process = self.popen("watch", stdout=subprocess.PIPE)
        self.assertEqual(process.stderr.readline(), "applistctl: watching 2 items\n")
        process.stdout.close()
        self.assertEqual(process.wait(DEADLINE), -signal.SIGPIPE)
        self.assertEqual(process.stderr.read(), "")
        process.stderr.close()

    def test_ends_so_when_whoever_started_it_ignores_the_signal(self):
        # As Python itself does, and hands on when it is told to restore nothing.
        process = self.popen("watch", stdout=subprocess.PIPE, restore_signals=False)
        process.stderr.readline()
        process.stdout.close()
        self.assertEqual(process.wait(DEADLINE), -signal.SIGPIPE)
        process.stderr.close()

    def test_ends_with_141_for_a_shell(self):
        script = 'set -o pipefail; "$APPLISTCTL" watch | head -n 1'
        variables = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=self.bus.address)
        shell = subprocess.Popen(["bash", "-c", script], env=variables, text=True,
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(shell.stderr.readline(), "applistctl: watching 2 items\n")
        self.partner().select("music")
        out, err = shell.communicate(timeout=DEADLINE)
        self.assertEqual((shell.returncode, out, err), (141, "selected\tMusic\tmusic\n", ""))

    def test_can_write_to_a_file(self):
        path = self.file("")
        with open(path, "w", encoding="utf-8") as out:
            process = self.popen("watch", "--count=1", stdout=out)
        process.stderr.readline()
        self.partner().select("music")
        self.assertEqual(process.wait(DEADLINE), 0)
        with open(path, encoding="utf-8") as written:
            self.assertEqual(written.read(), "selected\tMusic\tmusic\n")
        process.stderr.close()

    def test_says_that_its_file_is_full(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            process = self.popen("watch", stdout=full)
        process.stderr.readline()
        self.partner().select("music")
        self.assertEqual(process.wait(DEADLINE), 1)
        self.assertIn("No space left", process.stderr.read())
        process.stderr.close()


class AWatchThatIsAtRest(ToolTest):
    """With nothing that will go off, neither process makes a system call until something happens.
    Over the bus the partner would ask now and then whether it has missed something."""

    def armed_timers(self, process):
        """How many timers of `process` will go off some time."""
        count = 0
        for info in glob.glob(f"/proc/{process.pid}/fdinfo/*"):
            # One that is closed meanwhile goes off no more.
            with contextlib.suppress(FileNotFoundError), open(info, encoding="ascii") as text:
                count += re.search(r"^it_value: \((?!0, 0\))", text.read(), re.MULTILINE) is not None
        return count

    def sleep_of(self, process):
        """Which of its sleeps `process` is in; None while it is awake."""
        with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
            fields = dict(line.split(":", 1) for line in status)
        is_asleep = fields["State"].strip().startswith("S")
        return fields["voluntary_ctxt_switches"].strip() if is_asleep else None

    def sleeps_without_timer(self, process):
        sleep = self.sleep_of(process)
        return self.armed_timers(process) == 0 and sleep and self.sleep_of(process) == sleep

    def sets_no_timer(self, process):
        end = time.monotonic() + DEADLINE
        while time.monotonic() < end:
            if self.sleeps_without_timer(process):
                return True
            os.sched_yield()
        return False

    def test_has_set_no_timer_and_neither_has_the_service(self):
        watch = self.watch()
        self.assertTrue(self.sets_no_timer(watch.process))
        self.assertTrue(self.sets_no_timer(self.daemon.process))

    def test_has_set_none_after_a_change_either(self):
        watch = self.watch()
        self.partner().select("music")
        self.assertEqual(watch.next(), "selected\tMusic\tmusic")
        self.assertTrue(self.sets_no_timer(watch.process))
        self.assertTrue(self.sets_no_timer(self.daemon.process))


class AWatchOfAServiceWithAConsole(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.daemon = self.start("--interactive", "--items", self.file("Maps\tmaps\n"),
                                 stdin=subprocess.PIPE)

    def test_tells_a_click(self):
        watch = self.watch("--json")
        self.daemon.type("click maps")
        self.assertEqual(json.loads(watch.next()), {"event": "clicked"})


class AWatchOfInstalledApplications(ToolTest):
    ITEMS = None

    def setUp(self):
        super().setUp()
        self.installed = self.machine()
        self.installed.install("maps.desktop", "Maps")
        self.installed.install("music.desktop", "Music")
        self.start(environment=self.installed.environment())

    def test_tells_a_new_name(self):
        watch = self.watch("--json")
        self.installed.install("maps.desktop", "Atlas")
        self.assertEqual(json.loads(watch.next()),
                         {"event": "renamed", "name": "Atlas", "id": "maps.desktop",
                          "old_name": "Maps", "old_id": "maps.desktop"})

    def test_tells_a_new_order(self):
        watch = self.watch("--count=2")
        self.installed.install("maps.desktop", "Zoo")
        self.assertEqual(watch.wait(), 0)
        self.assertEqual(watch.out.rest(),
                         ["renamed\tZoo\tmaps.desktop\tMaps\tmaps.desktop", "reordered"])


class AChannel(ToolTest):
    """Opening one takes longer than a single question over the bus."""

    ITEMS = None

    def test_is_asked_for_by_whoever_stays(self):
        service = self.script()
        self.watch()
        service.wait_for_call("channel")

    def test_is_not_asked_for_by_whoever_asks_once(self):
        service = self.script()
        for command in (("list",), ("select", "maps"), ("call", "GetAllItems")):
            self.assertEqual(self.run_tool(*command).status, 0, command)
        self.assertNotIn("channel", service.all_calls())


class AWatchOfAScriptedService(ToolTest):
    ITEMS = None
    MUSIC_IS_SELECTED = "2001=Music\\tmusic\\n"

    def start_again(self, service, *script):
        service.stop()
        return self.script(*script)

    def test_tells_a_click_after_the_selection_before_it(self):
        service = self.script()
        watch = self.watch()
        service.tell(self.MUSIC_IS_SELECTED, "notify 2", "notify 3")
        self.assertEqual([watch.next(), watch.next()], ["selected\tMusic\tmusic", "clicked"])

    def test_tells_every_click(self):
        service = self.script()
        watch = self.watch("--count=5")
        service.tell(*["notify 3"] * 4)
        self.assertEqual([watch.next() for _ in range(4)], ["clicked"] * 4)
        service.tell("notify 3")
        self.assertEqual(watch.wait(), 0)

    def test_tells_a_click_that_was_the_last_thing_before_the_end(self):
        service = self.script()
        watch = self.watch("--timeout=60")
        service.tell("2002=silent", "notify 3", "2002=leave", "notify 3")
        self.assertEqual([watch.next() for _ in range(3)], ["clicked", "clicked", "lost"])

    def test_tries_again_when_the_service_is_back_and_answers_with_errors(self):
        service = self.script()
        watch = self.watch()
        service = self.start_again(service, self.MUSIC_IS_SELECTED, "2002=fail")
        self.assertEqual([watch.next(), watch.next()], ["lost", "back"])
        for _ in range(3):
            service.wait_for_call(2002)
        service.tell("2002=Music\\tmusic\\n")
        self.assertEqual([watch.next(), watch.next()],
                         ["removed\tMaps\tmaps", "selected\tMusic\tmusic"])

    def test_ends_when_the_service_is_back_and_refuses(self):
        service = self.script()
        watch = self.watch()
        self.start_again(service, "2002=refuse")
        self.assertEqual(watch.wait(), 4)
        self.assertEqual(watch.out.rest(), ["lost", "back"])
        self.assertIn("the bus's policy refuses the call", watch.err.rest()[0])

    def test_that_shall_wait_begins_when_the_service_answers_without_errors(self):
        service = self.script("2002=fail")
        watch = self.watch("--wait", ready="waiting for the service")
        service.tell("2002=Maps\\tmaps\\n")
        self.assertEqual(watch.err.wait_for(""), "applistctl: watching 1 item")

    def test_that_shall_wait_does_not_wait_for_a_permission(self):
        self.script("2002=refuse")
        self.assertIn("the bus's policy refuses", self.complaint_of(4, "watch", "--wait"))


class AWatchOfASilentService(ToolTest):
    def test_that_shall_wait_begins_when_it_answers(self):
        self.daemon.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self.daemon.process.send_signal, signal.SIGCONT)
        watch = self.watch("--wait", "--timeout=0.2", ready="waiting for the service")
        self.daemon.process.send_signal(signal.SIGCONT)
        self.assertEqual(watch.err.wait_for(""), "applistctl: watching 2 items")


class AWatchAcrossARestart(ToolTest):
    def setUp(self):
        super().setUp()
        self.watching = self.watch()

    def stop_service(self):
        self.daemon.stop()
        self.assertEqual(self.watching.next(), "lost")

    def test_says_lost_and_back_and_goes_on(self):
        self.stop_service()
        self.serve(self.ITEMS)
        self.assertEqual(self.watching.next(), "back")
        self.partner().select("music")
        self.assertEqual(self.watching.next(), "selected\tMusic\tmusic")

    def test_tells_only_what_is_different_afterwards(self):
        self.stop_service()
        self.serve("Maps\tmaps\nTunes\tmusic\nMail\tmail\n")
        self.assertEqual([self.watching.next() for _ in range(3)],
                         ["back", "renamed\tTunes\tmusic\tMusic\tmusic", "added\tMail\tmail"])

    def test_tells_that_everything_is_gone(self):
        self.stop_service()
        self.serve("")
        self.assertEqual([self.watching.next() for _ in range(4)],
                         ["back", "removed\tMaps\tmaps", "removed\tMusic\tmusic", "selected\t\t"])

    def test_survives_one_after_the_other(self):
        for _ in range(5):
            self.stop_service()
            self.serve(self.ITEMS)
            self.assertEqual(self.watching.next(), "back")
        self.assertEqual(self.watching.interrupt(), 130)
        self.assertEqual((self.watching.out.rest(), self.watching.err.rest()), ([], []))

    def test_survives_a_restart_of_the_bus(self):
        self.bus.stop()
        self.assertEqual(self.watching.next(), "lost")
        self.bus.start()
        self.assertEqual(self.watching.next(), "back")
        self.partner().select("music")
        self.assertEqual(self.watching.next(), "selected\tMusic\tmusic")


class AWatchInJsonAcrossARestart(ToolTest):
    def test_says_lost_and_back(self):
        watch = self.watch("--json")
        self.daemon.stop()
        self.assertEqual(watch.next(), '{"event":"lost"}')
        self.serve(self.ITEMS)
        self.assertEqual(watch.next(), '{"event":"back"}')


class AWatchOfAServiceThatIsKilled(ToolTest):
    ITEMS = None

    def test_says_lost_and_back(self):
        killed = Applistd(self.bus, "--items", self.file("Maps\tmaps\n"))
        watch = self.watch()
        killed.stop(signal.SIGKILL)
        self.assertEqual(watch.next(), "lost")
        self.serve("Maps\tmaps\nMusic\tmusic\n")
        self.assertEqual([watch.next(), watch.next()], ["back", "added\tMusic\tmusic"])


class AFollowedSelection(ToolTest):
    def follow(self, *options):
        process = self.popen("selection", "--follow", *options, stdout=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        return process, Output(process.stdout)

    def test_is_told_now_and_each_time_that_it_changes(self):
        partner = self.partner()
        process, out = self.follow("--count=4")
        self.assertEqual(out.wait_for(""), "Maps\tmaps")
        for unique_id, line in (("music", "Music\tmusic"), ("maps", "Maps\tmaps")):
            partner.select(unique_id)
            self.assertEqual(out.wait_for(""), line)
        partner.call(items.REMOVE_ALL_ITEMS)
        self.assertEqual(process.wait(DEADLINE), 0)
        self.assertEqual((out.rest(), process.stderr.read()), (["\t"], ""))

    def test_is_not_told_when_only_other_items_change(self):
        process, out = self.follow("--count=2")
        out.wait_for("Maps")
        partner = self.partner()
        add(partner, "Mail", "mail")
        partner.select("mail")
        self.assertEqual(process.wait(DEADLINE), 0)
        self.assertEqual(out.rest(), ["Mail\tmail"])

    def test_goes_on_when_the_service_is_back(self):
        process, out = self.follow()
        out.wait_for("Maps")
        self.daemon.stop()
        self.assertEqual(process.stderr.readline(),
                         "applistctl: lost the service; waiting for it\n")
        self.serve("Music\tmusic\n")
        self.assertEqual(out.wait_for(""), "Music\tmusic")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(DEADLINE), 130)

    def test_is_waited_for_when_asked(self):
        self.daemon.stop()
        process, out = self.follow("--wait", "--count=1")
        self.assertEqual(process.stderr.readline(), "applistctl: waiting for the service\n")
        self.serve("Maps\tmaps\n")
        self.assertEqual(process.wait(DEADLINE), 0)
        self.assertEqual(out.rest(), ["Maps\tmaps"])


class AWatchWithoutAService(ToolTest):
    ITEMS = None

    def test_that_shall_wait_begins_when_there_is_one(self):
        watch = self.watch("--wait", "--count=1", ready="waiting for the service")
        self.serve("Maps\tmaps\nMusic\tmusic\n")
        self.assertEqual(watch.err.wait_for(""), "applistctl: watching 2 items")
        self.partner().select("music")
        self.assertEqual(watch.wait(), 0)
        self.assertEqual(watch.out.rest(), ["selected\tMusic\tmusic"])

    def test_that_shall_wait_for_all_begins_with_the_list(self):
        watch = self.watch("--wait", "--all", ready="waiting for the service")
        self.serve("Maps\tmaps\n")
        self.assertEqual([watch.next(), watch.next()],
                         ["listed\tMaps\tmaps", "selected\tMaps\tmaps"])

    def test_that_shall_wait_begins_with_an_empty_list_too(self):
        watch = self.watch("--wait", "--count=1", ready="waiting for the service")
        self.serve("")
        self.assertEqual(watch.err.wait_for(""), "applistctl: watching 0 items")
        add(self.partner(), "Mail", "mail")
        self.assertEqual(watch.next(), "added\tMail\tmail")

    def test_that_shall_wait_can_be_interrupted(self):
        watch = self.watch("--wait", ready="waiting for the service")
        self.assertEqual(watch.interrupt(), 130)

    def test_that_shall_wait_does_not_when_the_service_is_there(self):
        self.serve("Maps\tmaps\n")
        self.assertEqual(self.watch("--wait").said, "applistctl: watching 1 item")


if __name__ == "__main__":
    unittest.main()
