# SPDX-License-Identifier: MIT

"""applistctl while one of its calls fails: it does its work fully, or says what went wrong.

Its service runs undisturbed; all of its items are a partner's, so that every edit can be undone.
"""

import os
import re
import signal
import subprocess
import threading
from typing import NamedTuple

from faults import Faults, faults_of
from support import items
from support.partner import Partner
from support.processes import Applistd, Bus, DEADLINE, Output

APPLISTCTL = os.environ["APPLISTCTL"]

MAPS, MUSIC, NEWS = ("Maps", "maps"), ("Music", "music"), ("News", "news")
BASE = [MAPS, MUSIC]


class Command(NamedTuple):
    arguments: list
    out: str
    after: list = BASE
    selected: str = "maps"
    stdin: str = ""
    is_pattern: bool = False  # `out` is


COMMANDS = [
    Command(["list"], "Maps\tmaps\nMusic\tmusic\n"),
    Command(["list", "--json=short"],
            '[{"name":"Maps","id":"maps","selected":true},'
            '{"name":"Music","id":"music","selected":false}]\n'),
    Command(["selection"], "Maps\tmaps\n"),
    Command(["select", "music"], "selected\tMusic\tmusic\n", selected="music"),
    Command(["add", "News", "news"], "added\tNews\tnews\n", after=[*BASE, NEWS]),
    Command(["import", "-"], "imported\t2\n", after=[*BASE, NEWS, ("Radio", "radio")],
            stdin="News\tnews\nRadio\tradio\n"),
    Command(["import", "--new", "-"], "imported\t1\t1\n", after=[*BASE, NEWS],
            stdin="Maps\tmaps\nNews\tnews\n"),
    Command(["sync", "-"], "synced\t1\t0\t0\t0\n", after=[*BASE, NEWS],
            stdin="Maps\tmaps\nMusic\tmusic\nNews\tnews\n"),
    Command(["sync", "--yes", "-"], "synced\t0\t1\t0\t0\n", after=[MAPS],
            stdin="Maps\tmaps\n"),
    Command(["wait", "--item=maps"], ""),
    # What cannot be learned of the service's program is left out.
    Command(["status"], r"bus\t[^\n]+\nowner\t:1\.\d+\npid\t\d+\n(program\tapplistd\n)?items\t2\n"
                        r"selection\tMaps\tmaps\npartners\t\d+\nserial\t\d+\n", is_pattern=True),
    Command(["selection", "--follow", "--count=1"], "Maps\tmaps\n"),
    Command(["replace", "music", "News", "news"], "replaced\tNews\tnews\tMusic\tmusic\n",
            after=[MAPS, NEWS]),
    Command(["remove", "music"], "removed\tMusic\tmusic\n", after=[MAPS]),
    Command(["clear", "--yes"], "cleared\t2\n", after=[], selected=""),
    Command(["call", "GetAllItems"], "Maps\tmaps\nMusic\tmusic\n"),
]
WATCH = Command(["watch"], "added\tNews\tnews\n", after=[*BASE, NEWS])
INTERRUPTED = 130


class ToolCases:
    """The whole matrix, or any part of it."""

    name = "applistctl"

    def __init__(self):
        self._bus = Bus()
        empty = "/dev/null"
        self._daemon = Applistd(self._bus, "--items", empty, stderr=subprocess.DEVNULL)
        self._partner = Partner(self._bus)
        self._faults = Faults()
        self._reset()

    def remove(self):
        self._faults.remove()
        self._partner.close()
        self._daemon.stop()
        self._bus.remove()

    def all(self, kind, most):
        """Every case of one kind, "calls" or "memory", up to the `most`-th occurrence."""
        cases = []
        for command in [*COMMANDS, WATCH]:
            counts = self._counts_of(command)
            for fault in faults_of(counts, kind, most):
                if fault.nth > counts[fault.call]:
                    continue
                # That it watches is all that it says, and nobody would know when to go on.
                if command is WATCH and fault.call == "write" and fault.nth == 1:
                    continue
                cases.append((command, fault))
                # Not of `watch`, which goes on when there is memory again: until then libsystemd
                # tries to tell it of the loss without a pause.
                if kind == "memory" and command is not WATCH:
                    cases.append((command, fault._replace(lasts=True)))
        return cases

    def run(self, case):
        """Returns whether the failure took place, and what was wrong then, if anything."""
        command, fault = case
        self._faults.forget()
        self._faults.arm(fault)
        try:
            status, out, err = self._run(command)
            took_place = self._faults.failed() > 0
            wrong = self._judge(command, status, out, err)
        except (AssertionError, subprocess.TimeoutExpired) as failure:
            took_place, wrong = self._faults.failed() > 0, str(failure)
        self._reset()
        return took_place, wrong and f"{' '.join(command.arguments)}: {wrong}"

    def _counts_of(self, command):
        self._faults.forget()
        self._faults.disarm()
        status, out, err = self._run(command)
        wrong = self._judge(command, status, out, err)
        assert status == 0 and not wrong, (command, status, out, err)
        self._reset()
        return {call: count for call, count in self._faults.counts().items() if count > 0}

    def _environment(self):
        return dict(os.environ, DBUS_SESSION_BUS_ADDRESS=self._bus.address, LC_ALL="C.UTF-8",
                    **self._faults.variables())

    def _run(self, command):
        if command is WATCH:
            return self._watch(command)
        done = subprocess.run([APPLISTCTL, *command.arguments], input=command.stdin, text=True,
                              capture_output=True, env=self._environment(), timeout=DEADLINE,
                              check=False)
        return done.returncode, done.stdout, done.stderr

    def _watch(self, command):
        with subprocess.Popen([APPLISTCTL, *command.arguments], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              env=self._environment()) as process:
            try:
                return self._follow(process)
            except BaseException:
                process.kill()
                raise

    def _follow(self, process):
        """Edits the list once it is watched, and interrupts the watch once it has told that."""
        timer = threading.Timer(DEADLINE, process.kill)
        timer.start()
        said = Output(process.stderr)
        begins = said.wait_for("")
        out = ""
        if "watching" in begins:
            self._partner.call(items.ADD_ITEM_AT_END, items.item(*NEWS))
        for line in process.stdout:
            # Told truly: the connection was given up, and came back.
            if line not in ("lost\n", "back\n"):
                out += line
                process.send_signal(signal.SIGINT)
        status = process.wait()
        timer.cancel()
        err = [line for line in [begins, *said.rest()] if "watching" not in line]
        return (0 if status == INTERRUPTED else status, out,
                "".join(line + "\n" for line in err))

    def _judge(self, command, status, out, err):
        after, selected = self._state()
        done = (command.after, command.selected)
        told = f"status {status}, out {out!r}, err {err!r}, list {after}, selected {selected!r}"
        if status == 0:
            is_out = re.fullmatch(command.out, out) if command.is_pattern else out == command.out
            right = is_out and (err, (after, selected)) == ("", done)
            return "" if right else "did not do what it says: " + told
        if not re.fullmatch(r"applistctl: [^\n]+\n", err) or status not in (1, 2, 3, 4):
            return "is not one line and a status: " + told
        if (after, selected) not in (done, (BASE, "maps")):
            return "did half of it: " + told
        return ""

    def _state(self):
        """The list and its selection. A tool that failed may have left an edit on its way, which
        comes between the two questions: they are asked until the answers are the same twice."""
        before, now = None, self._state_now()
        while now != before:
            before, now = now, self._state_now()
        return now

    def _state_now(self):
        selection = items.items(self._partner.call(items.GET_SELECTION))
        return self._partner.all_items(), selection[0][1]

    def _reset(self):
        if self._state() == (BASE, "maps"):
            return
        self._partner.call(items.REMOVE_ALL_ITEMS)
        self._partner.call(items.ADD_ITEMS, b"".join(items.item(*each) for each in BASE))
        self._partner.select("maps")
        assert self._state() == (BASE, "maps"), self._state()
