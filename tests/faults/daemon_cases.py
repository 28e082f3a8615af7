# SPDX-License-Identifier: MIT

"""applistd while one of its calls fails: it goes on, comes back, or ends and says why.

Whatever it answers meanwhile is true, and what is not answered is an error to the caller. A daemon
that owns its name and does not answer, one that spins, and one that ends without a word are none of
the three.
"""

import errno
import os
import signal
import tempfile
import time

import dbus
import dbus.bus
from gi.repository import GLib

from faults import Faults, faults_of
from support import items, memfd
from support.machine import Machine
from support.partner import Partner
from support.processes import APPLISTD, Bus
from victim import Victim

MAPS, MUSIC, NEWS = ("Maps", "maps"), ("Music", "music"), ("News", "news")
# A list with this cannot leave at once, so the daemon has to wait for the bus to take it.
LARGE = ("L" * 500_000, "large")

# How long the daemon may be away: some attempts to come back, which begin ever later.
BACK = 20.0
# How long the answer to one call may take. An honest one takes a millisecond.
ANSWER = 10.0
MOST_ROUNDS = 25


class Client:
    """A caller whose calls may fail: then the answer is None."""

    def __init__(self, bus):
        self._bus = bus
        self._connection = None

    def connect(self):
        if self._connection is None:
            self._connection = dbus.bus.BusConnection(self._bus.address)
            self._connection.set_exit_on_disconnect(False)

    def close(self):
        if self._connection is not None:
            self._connection.close()
            self._connection = None

    def _call(self, interface, method, signature, *arguments):
        self.connect()
        try:
            return (self._connection.call_blocking(
                items.BUS_NAME, items.OBJECT_PATH, interface, method, signature, arguments,
                timeout=ANSWER, byte_arrays=True),)
        except dbus.DBusException as error:
            # Of these two somebody else than the daemon speaks: it did not answer in ANSWER.
            silent = error.get_dbus_name() in ("org.freedesktop.DBus.Error.Timeout",
                                               "org.freedesktop.DBus.Error.NoReply")
            if silent and "did not receive a reply" in error.get_dbus_message().lower():
                raise Silence(f"{method} is not answered") from error
            return None

    def plain(self, method):
        return self._call(items.INTERFACE, method, "") is not None

    def message(self, function, payload=b""):
        message = dbus.ByteArray(items.request(function, payload))
        answer = self._call(items.INTERFACE, "Message", "ay", message)
        return None if answer is None else bytes(answer[0])

    def message_fd(self, function):
        with memfd.sealed(items.request(function)) as request:
            answer = self._call(items.INTERFACE, "MessageFd", "h", dbus.types.UnixFd(request))
        return None if answer is None else memfd.content_of(answer[0].take())

    def list(self):
        answer = self.message(items.GET_ALL_ITEMS)
        return None if answer is None else items.items(answer)

    def serial(self):
        answer = self._call("org.freedesktop.DBus.Properties", "Get", "ss", items.INTERFACE,
                            "Serial")
        return None if answer is None else int(answer[0])


class Silence(Exception):
    pass


class DaemonCases:
    """A running daemon with `base`, in whose work something fails."""

    def __init__(self, base=(MAPS, MUSIC)):
        self._base = list(base)
        self._bus = Bus()
        descriptor, self._items = tempfile.mkstemp(prefix="applistd-items-")
        with os.fdopen(descriptor, "wb") as out:
            out.write(b"".join(items.item(*each) for each in self._base))
        self._faults = Faults()
        self._client = Client(self._bus)
        self._daemon = None

    def remove(self):
        self._client.close()
        if self._daemon is not None:
            self._daemon.remove()
        self._faults.remove()
        os.remove(self._items)
        self._bus.remove()

    def all(self, kind, most):
        self._start()
        before = self._faults.counts()
        for _ in range(2):
            self._work()
        self._wait_until_right()
        return [(fault,) for fault in faults_of(self._made_since(before), kind, most)]

    def _made_since(self, before):
        return {call: count - before[call] for call, count in self._faults.counts().items()}

    def run(self, case):
        (fault,) = case
        if self._daemon is None:
            self._start()
        self._faults.arm(fault)
        wrong = ""
        try:
            for _ in range(MOST_ROUNDS):
                self._work()
                if self._faults.failed() > 0 or self._daemon.process.poll() is not None:
                    break
            took_place = self._faults.failed() > 0
            self._faults.disarm()
            if not self._daemon.ends_within(0):
                self._wait_until_right()
            wrong = self._daemon.spin()
        except (Silence, AssertionError) as failure:
            took_place = self._faults.failed() > 0
            wrong = str(failure)
        if self._daemon.ends_within(0):
            wrong = wrong_end(self._daemon, fault)
        if wrong:
            wrong += f"; the daemon said {self._daemon.said()!r}"
        if wrong or self._daemon.ends_within(0):
            self._end()
        return took_place, wrong

    def _start(self):
        self._begin()
        self._wait_until_right()

    def _begin(self, fault=None):
        self._daemon = Victim(
            [APPLISTD, f"--address={self._bus.address}", "--items", self._items], self._faults,
            fault, APPLIST_SMALL_BUFFERS="1")

    def _end(self):
        self._daemon.remove()
        self._daemon = None

    def _work(self):
        """One of everything; and what was answered must be true."""
        client = self._client
        client.plain("Connect")
        serial = client.serial()
        added = client.message(items.ADD_ITEM_AT_END, items.item(*NEWS)) is not None
        after = client.serial()
        there = client.list()
        client.message_fd(items.GET_ALL_ITEMS)
        client.message(items.REMOVE_ITEM, items.item(*NEWS))
        client.plain("Disconnect")
        if added and there is not None and NEWS not in there:
            raise AssertionError(f"added, but not in the list of {len(there)}")
        if there is not None and NEWS in there and None not in (serial, after) and after <= serial:
            raise AssertionError("added without an event")
        # The loop's own turn, with nobody who calls: a caller that leaves.
        client.close()

    def _wait_until_right(self):
        """Until the daemon owns its name, and its list is what it should be."""
        end = time.monotonic() + BACK
        while not self._is_right():
            if self._daemon.ends_within(0):
                return
            if time.monotonic() > end:
                there = str(self._client.list())[:200]
                raise AssertionError(
                    f"it did not come back: its list is {there}, it {self._daemon.doing()}")
            self._wait_for_owner(end)

    def _is_right(self):
        there = self._client.list()
        if there == self._base:
            return True
        if there is not None:
            others = [each for each in there if each != NEWS]
            assert others == self._base, f"the list is {str(there)[:200]}"
            self._client.message(items.REMOVE_ITEM, items.item(*NEWS))
        return False

    def _wait_for_owner(self, end):
        self._client.close()
        partner = Partner(self._bus)
        timer = GLib.timeout_add(50, lambda: True)
        try:
            context = GLib.MainContext.default()
            while not partner.service_is_there() and time.monotonic() < end and \
                    not self._daemon.ends_within(0):
                context.iteration(True)
        finally:
            GLib.source_remove(timer)
            partner.close()


def wrong_end(daemon, fault):
    """What is wrong with how the daemon ended, if anything."""
    causes = [os.strerror(getattr(errno, fault.error)), "memory"]
    # libsystemd makes one of these two, as it is the same.
    if fault.error == "EPIPE":
        causes.append(os.strerror(errno.ECONNRESET))
    lines = daemon.said().splitlines()
    told = [line for line in lines if line.startswith("applistd: ")]
    if fault.call == "malloc" and ("GLib-ERROR" in daemon.said() or
                                    "GLib (gthread" in daemon.said()):
        return ""  # GLib's own way to end without memory, which says so
    if "GLib-GIO:ERROR" in daemon.said() and causes[0] in daemon.said():
        return ""  # and its way to end when it cannot watch a folder
    if daemon.process.returncode <= 0:
        return f"it ended with {daemon.process.returncode}"
    if len(told) != 1 or not any(cause in told[0] for cause in causes):
        return f"its end does not name the cause, {causes[0]}"
    return ""


class StartCases(DaemonCases):
    """A daemon that starts: it serves its list, or ends and says why."""

    def all(self, kind, most):
        self._start()
        counts = self._faults.counts()
        self._end()
        return [(fault,) for fault in faults_of(counts, kind, most)
                if fault.nth <= counts[fault.call]]

    def run(self, case):
        (fault,) = case
        self._begin(fault)
        wrong = ""
        try:
            self._wait_until_right()
        except (Silence, AssertionError) as failure:
            wrong = str(failure)
        if self._daemon.ends_within(0):
            wrong = wrong_end(self._daemon, fault)
        took_place = self._faults.failed() > 0
        if wrong:
            wrong += f"; the daemon said {self._daemon.said()!r}"
        self._end()
        return took_place, wrong


class EntriesCases(StartCases):
    """A daemon that starts with what is installed: GIO leaves out in silence what it cannot read."""

    def __init__(self):
        super().__init__(base=[("Maps", "maps.desktop"), ("Music", "music.desktop")])
        self._machine = Machine()
        for name, entry in self._base:
            self._machine.install(entry, name)

    def remove(self):
        super().remove()
        self._machine.remove()

    def _begin(self, fault=None):
        self._daemon = Victim([APPLISTD, f"--address={self._bus.address}"], self._faults, fault,
                              APPLIST_SMALL_BUFFERS="1", **self._machine.environment())

    def _is_right(self):
        there = self._client.list()
        if there is None:
            return False
        assert all(each in self._base for each in there), f"the list is {str(there)[:200]}"
        return True


class StopCases(DaemonCases):
    """A daemon that is asked to end: it does, and well or with the cause why not."""

    def all(self, kind, most):
        self._start()
        before = self._faults.counts()
        self._stop()
        made = self._made_since(before)
        self._end()
        return [(fault,) for fault in faults_of(made, kind, most)
                if fault.nth <= made[fault.call]]

    def run(self, case):
        (fault,) = case
        self._start()
        self._faults.arm(fault)
        wrong = ""
        if not self._stop():
            wrong = "it does not end"
        elif self._daemon.process.returncode != 0:
            wrong = wrong_end(self._daemon, fault)
        if wrong:
            wrong += f"; the daemon said {self._daemon.said()!r}"
        took_place = self._faults.failed() > 0
        self._end()
        return took_place, wrong

    def _stop(self):
        """With a bus at hand and a partner that is connected; returns whether it ended."""
        self._client.plain("Connect")
        self._daemon.process.terminate()
        return self._daemon.ends_within(BACK)


class StallCases(DaemonCases):
    """The same with a list so long that the bus does not take it at once."""

    def __init__(self):
        super().__init__(base=(MAPS, LARGE))


class ReloadCases(DaemonCases):
    """While it is asked to read its items again."""

    def _work(self):
        self._daemon.process.send_signal(signal.SIGHUP)
        super()._work()


class BusRestartCases(DaemonCases):
    """While the bus goes and another one comes."""

    def _work(self):
        self._client.close()
        self._bus.stop()
        self._bus.start()
        self._wait_until_right()
