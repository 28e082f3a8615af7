# SPDX-License-Identifier: MIT

"""What somebody on a bus tries with the service. One program, as the test starts it as that user.

as_user.py ADDRESS own              request the service's name
as_user.py ADDRESS call INTERFACE MEMBER
                                    call one of its methods, with arguments that make sense
as_user.py ADDRESS call-without-interface MEMBER
as_user.py ADDRESS call-with-descriptor MEMBER
                                    a descriptor with a call that takes none
as_user.py ADDRESS select ID        select an item
as_user.py ADDRESS start            have the bus start the service
as_user.py ADDRESS hear             say "listening", and wait for an event
as_user.py ADDRESS channel          ask for a channel, and read the list over it

Says on its last line how that went: "allowed" and what came back, or the name of the error.
"""

import sys
import time

import dbus
import dbus.bus
from gi.repository import Gio, GLib

from support import items, memfd
from support.foreign import PythonGioOnAChannel
from support.processes import DEADLINE

READ = items.request(items.GET_ALL_ITEMS)


class Address:
    """In the place of a bus for those who only want to know where it is."""

    def __init__(self, address):
        self.address = address


def arguments_of(member):
    """The signature and the arguments of a call."""
    if member == "MessageFd":
        with memfd.sealed(READ) as request:
            return "h", (dbus.types.UnixFd(request),)
    known = {
        "Message": ("ay", (dbus.ByteArray(READ),)),
        "Notify": ("ay", (dbus.ByteArray(READ),)),
        "Get": ("ss", (items.INTERFACE, "Serial")),
        "GetAll": ("s", (items.INTERFACE,)),
        "Set": ("ssv", (items.INTERFACE, "Serial", dbus.UInt64(1))),
    }
    return known.get(member, ("", ()))


class Somebody:
    def __init__(self, address):
        self._bus = Address(address)
        self._connection = dbus.bus.BusConnection(address)

    def own(self):
        answer = self._connection.request_name(items.BUS_NAME, dbus.bus.NAME_FLAG_DO_NOT_QUEUE)
        return f"allowed {answer}"

    def call(self, interface, member):
        signature, arguments = arguments_of(member)
        answer = self._connection.call_blocking(items.BUS_NAME, items.OBJECT_PATH, interface,
                                                member, signature, arguments, timeout=DEADLINE)
        return f"allowed {self._shown(answer)}"

    @staticmethod
    def _shown(answer):
        """The answer in one line, where it is text or a number."""
        if isinstance(answer, dbus.types.UnixFd):
            return "a descriptor"
        if isinstance(answer, dbus.Array):
            return items.items(bytes(answer))
        if isinstance(answer, dbus.UInt64):
            return int(answer)
        return type(answer).__name__

    def select(self, unique_id):
        request = items.request(items.SET_SELECTION, items.item("", unique_id))
        self._connection.call_blocking(items.BUS_NAME, items.OBJECT_PATH, items.INTERFACE,
                                       "Message", "ay", (dbus.ByteArray(request),),
                                       timeout=DEADLINE)
        return "allowed"

    def start(self):
        _, answer = self._connection.start_service_by_name(items.BUS_NAME)
        return f"allowed {answer}"

    def call_without_interface(self, member):
        return self.call(None, member)

    def call_with_descriptor(self, member):
        with memfd.sealed(READ) as extra:
            self._connection.call_blocking(items.BUS_NAME, items.OBJECT_PATH, items.INTERFACE,
                                           member, "h", (dbus.types.UnixFd(extra),),
                                           timeout=DEADLINE)
        return "allowed"

    def hear(self):
        heard = []
        bus = Gio.DBusConnection.new_for_address_sync(
            self._bus.address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT |
            Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        bus.signal_subscribe(items.BUS_NAME, items.INTERFACE, "Notification", items.OBJECT_PATH,
                             None, Gio.DBusSignalFlags.NONE, lambda *signal: heard.append(signal))
        # The answer to a later question: the bus has the subscription by now.
        bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", None, None,
                      Gio.DBusCallFlags.NONE, DEADLINE * 1000, None)
        print("listening", flush=True)
        GLib.timeout_add(int(DEADLINE * 1000), lambda: False)
        end = time.monotonic() + DEADLINE
        while not heard and time.monotonic() < end:
            GLib.MainContext.default().iteration(True)
        if not heard:
            return "heard nothing"
        return f"allowed {items.event(bytes(heard[0][5].get_child_value(0).unpack()))}"

    def channel(self):
        channel = PythonGioOnAChannel(self._bus)
        try:
            return f"allowed {items.items(channel.call(items.GET_ALL_ITEMS))}"
        finally:
            channel.close()


def main():
    _, address, what, *arguments = sys.argv
    try:
        print(getattr(Somebody(address), what.replace("-", "_"))(*arguments))
    except dbus.DBusException as error:
        print(error.get_dbus_name())
    except GLib.Error as error:
        print(Gio.DBusError.get_remote_error(error) or error.message)


if __name__ == "__main__":
    main()
