# SPDX-License-Identifier: MIT

"""examples/follow, a small partner, while one of its calls fails: it shows the list as it becomes,
or ends and says why."""

import errno
import os
import queue
import subprocess
import threading
import time

from daemon_cases import BACK
from faults import Faults, faults_of
from support import items
from support.partner import Partner
from support.processes import Applistd, Bus
from victim import Victim

FOLLOW = os.environ["APPLIST_FOLLOW"]

MOST_ROUNDS = 25


class Follower(Victim):
    def __init__(self, bus, faults):
        super().__init__([FOLLOW], faults, stdout=subprocess.PIPE,
                         DBUS_SESSION_BUS_ADDRESS=bus.address)
        self._lines = queue.Queue()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.process.stdout:
            self._lines.put(line.rstrip("\n"))
        self._lines.put(None)

    def shows(self, text):
        """Whether it shows that within BACK; when it ends before, it does not."""
        end = time.monotonic() + BACK
        while True:
            try:
                line = self._lines.get(timeout=max(0.0, end - time.monotonic()))
            except queue.Empty:
                return False
            if line is None or line == text:
                return line is not None


class FollowerCases:
    def __init__(self):
        self._bus = Bus()
        self._daemon = Applistd(self._bus, "--items", "/dev/null", stderr=subprocess.DEVNULL)
        self._partner = Partner(self._bus)
        self._faults = Faults()
        self._follower = None
        self._round = 0

    def remove(self):
        if self._follower is not None:
            self._follower.remove()
        self._faults.remove()
        self._partner.close()
        self._daemon.stop()
        self._bus.remove()

    def all(self, kind, most):
        self._start()
        before = self._faults.counts()
        assert self._work() and self._work()
        made = {call: count - before[call] for call, count in self._faults.counts().items()}
        return [(fault,) for fault in faults_of(made, kind, most)]

    def run(self, case):
        (fault,) = case
        if self._follower is None:
            self._start()
        self._faults.arm(fault)
        for _ in range(MOST_ROUNDS):
            shown = self._work()
            if not shown or self._faults.failed() > 0:
                break
        took_place = self._faults.failed() > 0
        self._faults.disarm()
        shown = shown and self._work()
        # One that shows nothing more may just be ending.
        if self._follower.ends_within(0 if shown else BACK):
            wrong = self._wrong_end(fault)
        else:
            wrong = self._follower.spin() if shown else "it does not show what the list is"
        if wrong:
            wrong += f"; it said {self._follower.said()!r}"
        if wrong or self._follower.ends_within(0):
            self._follower.remove()
            self._follower = None
        return took_place, wrong

    def _start(self):
        self._follower = Follower(self._bus, self._faults)
        assert self._work(), self._follower.said()

    def _work(self):
        """Changes the list in two steps, and returns whether both ends of that are shown."""
        self._round += 1
        name = f"Item{self._round}"
        self._partner.call(items.REMOVE_ALL_ITEMS)
        self._partner.call(items.ADD_ITEM_AT_END, items.item(name, "id"))
        return self._follower.shows(f"items: {name}")

    def _wrong_end(self, fault):
        status = self._follower.process.returncode
        cause = os.strerror(getattr(errno, fault.error))
        if status <= 0:
            return f"it ended with {status}"
        return "" if cause in self._follower.said() else f"its end does not name the cause, {cause}"
