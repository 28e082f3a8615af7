# SPDX-License-Identifier: MIT

"""A partner on python3-dbus: calls the numbered functions and hears the notifications."""

import contextlib
import time

import dbus
import dbus.bus
import dbus.mainloop.glib
from gi.repository import GLib

from support import items, memfd
from support.processes import DEADLINE

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)


class Partner:
    """Connected to the bus as long as this object lives; hears from its construction on."""

    def __init__(self, bus):
        self._connection = dbus.bus.BusConnection(bus.address)
        self._connection.set_exit_on_disconnect(False)
        self._heard = []
        self._owners = []
        self._connection.add_signal_receiver(
            self._on_notification, "Notification", items.INTERFACE, path=items.OBJECT_PATH,
            byte_arrays=True)
        self._connection.add_signal_receiver(
            self._on_owner_changed, "NameOwnerChanged", dbus.BUS_DAEMON_IFACE,
            arg0=items.BUS_NAME)
        # What is asked of the bus is done in order: after this answer both matches are in place.
        self._connection.name_has_owner(items.BUS_NAME)

    def _on_notification(self, body):
        self._heard.append(items.event(body))

    def _on_owner_changed(self, _name, _old, new):
        self._owners.append(str(new))

    def close(self):
        self._connection.close()

    def _service(self, method, signature, *arguments):
        return self._connection.call_blocking(
            items.BUS_NAME, items.OBJECT_PATH, items.INTERFACE, method, signature, arguments,
            timeout=DEADLINE, byte_arrays=True)

    def connect(self):
        self._service("Connect", "")

    def disconnect(self):
        self._service("Disconnect", "")

    def call(self, function, payload=b""):
        """Calls one function and returns the payload of its reply."""
        message = dbus.ByteArray(items.request(function, payload))
        return bytes(self._service("Message", "ay", message))

    def call_fd(self, function, payload=b""):
        """Calls one function, and is answered, by way of descriptors."""
        with memfd.sealed(items.request(function, payload)) as request:
            answer = self._service("MessageFd", "h", dbus.types.UnixFd(request))
        return memfd.content_of(answer.take())

    def all_items(self):
        return items.items(self.call(items.GET_ALL_ITEMS))

    def ids(self):
        return [unique_id for _, unique_id in self.all_items()]

    def names(self):
        return [name for name, _ in self.all_items()]

    def selected_id(self):
        ((_, unique_id),) = items.items(self.call(items.GET_SELECTION))
        return unique_id

    def select(self, unique_id):
        self.call(items.SET_SELECTION, items.item("", unique_id))

    def service_owner(self):
        return str(self._connection.get_name_owner(items.BUS_NAME))

    def service_is_there(self):
        return self._connection.name_has_owner(items.BUS_NAME)

    def events(self):
        """Returns the notifications that were sent up to now, and forgets them.

        The service's own answer comes after them on the same connection.
        """
        self.call(items.GET_SELECTION)
        self._dispatch()
        heard, self._heard = self._heard, []
        return heard

    def wait_for_event(self, number, meanwhile=None):
        """Returns the notifications up to the first `number`, and forgets them.

        Runs `meanwhile` twenty times a second until then.
        """
        ticks = GLib.timeout_add(50, lambda: meanwhile() or True) if meanwhile else None
        try:
            self._iterate_until(lambda: number in self._heard, f"no event {number}")
        finally:
            if ticks is not None:
                GLib.source_remove(ticks)
        end = self._heard.index(number) + 1
        heard, self._heard = self._heard[:end], self._heard[end:]
        return heard

    def wait_for_any_event(self):
        """Returns the next notification, and forgets it."""
        self._iterate_until(lambda: self._heard, "no event")
        return self._heard.pop(0)

    def owners_seen(self):
        """Returns the owners that the service's name has had since this partner is there."""
        self._connection.name_has_owner(items.BUS_NAME)
        self._dispatch()
        return self._owners

    def _dispatch(self):
        context = GLib.MainContext.default()
        while context.iteration(False):
            pass

    def wait_for_no_owner(self):
        """Waits until the service's name has been given up."""
        self._iterate_until(lambda: "" in self._owners, "the name is still owned")

    def wait_for_owner(self):
        """Waits until somebody owns the service's name."""
        if not self.service_is_there():
            self._iterate_until(lambda: any(self._owners), "nobody owns the name")

    def _iterate_until(self, condition, complaint):
        _iterate_until(condition, lambda: f"{complaint}; heard {self._heard}")


def _iterate_until(condition, complaint):
    """Handles what comes until `condition()` is true; where it is not in time, raises what
    `complaint()` says."""
    late = []
    timer = GLib.timeout_add(int(DEADLINE * 1000), lambda: late.append(True))
    context = GLib.MainContext.default()
    while not condition() and not late:
        context.iteration(True)
    if late:
        raise AssertionError(f"{complaint()}, within {DEADLINE} s")
    GLib.source_remove(timer)


@contextlib.contextmanager
def waiting_for_a_monitor(bus):
    """Waits after its block until a program that the block started is a monitor of the bus."""
    connection = dbus.bus.BusConnection(bus.address)
    nameless = []
    # A connection loses its name at the moment in which it becomes a monitor.
    connection.add_signal_receiver(lambda name, _old, _new: nameless.append(name),
                                   "NameOwnerChanged", dbus.BUS_DAEMON_IFACE, arg2="")
    connection.name_has_owner(items.BUS_NAME)
    try:
        yield
        _iterate_until(lambda: any(name.startswith(":") for name in nameless),
                       lambda: "nobody became a monitor")
    finally:
        connection.close()


def wait_for_match_rule(bus, text):
    """Waits until somebody on the bus has subscribed to signals by a rule that contains `text`."""
    connection = dbus.bus.BusConnection(bus.address)
    end = time.monotonic() + DEADLINE
    try:
        while True:
            rules = connection.call_blocking(
                dbus.BUS_DAEMON_NAME, dbus.BUS_DAEMON_PATH, "org.freedesktop.DBus.Debug.Stats",
                "GetAllMatchRules", "", (), timeout=DEADLINE)
            if any(text in rule for of_one in rules.values() for rule in of_one):
                return
            if time.monotonic() > end:
                raise AssertionError(f"nobody subscribed to {text} within {DEADLINE} s: {rules}")
    finally:
        connection.close()
