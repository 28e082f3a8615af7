# SPDX-License-Identifier: MIT

"""D-Bus clients that nobody of this project wrote, each with its own way to call and to listen.

All have `call(function, payload)`, which returns the payload of the reply, and `next_event()`,
which waits for the next notification and returns its number.
"""

import json
import re
import subprocess
import time

from gi.repository import Gio, GLib

from support import items
from support.partner import Partner, wait_for_match_rule, waiting_for_a_monitor
from support.processes import DEADLINE, Output

MESSAGE = items.INTERFACE + ".Message"


class _CommandLineClient:
    def __init__(self, bus, listen):
        self._address = bus.address
        self._listener = subprocess.Popen(listen, stdout=subprocess.PIPE,
                                          stderr=subprocess.STDOUT, text=True)
        self._heard = Output(self._listener.stdout)

    def close(self):
        self._listener.terminate()
        self._listener.wait(DEADLINE)

    def _run(self, *command):
        done = subprocess.run(command, capture_output=True, text=True, timeout=DEADLINE,
                              check=False)
        assert done.returncode == 0, f"{command} failed: {done.stderr}"
        return done.stdout


class Busctl(_CommandLineClient):
    def __init__(self, bus):
        # Newer ones that write JSON do not say so themselves.
        with waiting_for_a_monitor(bus):
            super().__init__(bus, ["busctl", f"--address={bus.address}", "--json=short", "monitor",
                                   items.BUS_NAME])

    def call(self, function, payload=b""):
        request = items.request(function, payload)
        reply = self._run("busctl", f"--address={self._address}", "--json=short", "call",
                          items.BUS_NAME, items.OBJECT_PATH, items.INTERFACE, "Message", "ay",
                          str(len(request)), *map(str, request))
        (body,) = json.loads(reply)["data"]
        return bytes(body)

    def next_event(self):
        message = json.loads(self._heard.wait_for('"member":"Notification"'))
        (body,) = message["payload"]["data"]
        return items.event(body)


class Gdbus(_CommandLineClient):
    def __init__(self, bus):
        super().__init__(bus, ["gdbus", "monitor", "--address", bus.address, "-d", items.BUS_NAME,
                               "-o", items.OBJECT_PATH])
        self._heard.wait_for("is owned by :")
        # It says so before it subscribes.
        wait_for_match_rule(bus, items.OBJECT_PATH)

    @staticmethod
    def _bytes(text):
        tuple_ = GLib.Variant.parse(GLib.VariantType("(ay)"), text.strip(), None, None)
        return bytes(tuple_.get_child_value(0).unpack())

    def call(self, function, payload=b""):
        request = ", ".join(map(str, items.request(function, payload)))
        return self._bytes(self._run(
            "gdbus", "call", "--address", self._address, "-d", items.BUS_NAME, "-o",
            items.OBJECT_PATH, "-m", MESSAGE, f"[byte {request}]"))

    def next_event(self):
        line = self._heard.wait_for(items.INTERFACE + ".Notification ")
        return items.event(self._bytes(line.split(".Notification ", 1)[1]))


class DbusSend(_CommandLineClient):
    def __init__(self, bus):
        super().__init__(bus, ["dbus-monitor", "--address", bus.address,
                               f"type='signal',interface='{items.INTERFACE}'"])
        # It loses its name at the moment in which it becomes a monitor.
        self._heard.wait_for("member=NameLost")

    @staticmethod
    def _bytes(lines):
        return bytes.fromhex(re.sub(r"^ *(array of bytes|array)? *[\[\]]$", "", lines, flags=re.M))

    def call(self, function, payload=b""):
        request = ",".join(map(str, items.request(function, payload)))
        reply = self._run("dbus-send", f"--bus={self._address}", "--print-reply",
                          f"--dest={items.BUS_NAME}", items.OBJECT_PATH, MESSAGE,
                          f"array:byte:{request}")
        return self._bytes(reply.split("\n", 1)[1])

    def next_event(self):
        self._heard.wait_for("member=Notification")
        self._heard.wait_for("array of bytes [")
        return items.event(self._bytes(self._heard.wait_for("")))


class PythonDbus:
    def __init__(self, bus):
        self._partner = Partner(bus)
        self.close = self._partner.close
        self.call = self._partner.call

    def next_event(self):
        return self._partner.wait_for_any_event()


class PythonGioOnAChannel:
    """Over a direct channel, to which the bus has only introduced it."""

    def __init__(self, bus):
        flags = Gio.DBusConnectionFlags
        self._bus = Gio.DBusConnection.new_for_address_sync(
            bus.address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        _, descriptors = self._bus.call_with_unix_fd_list_sync(
            items.BUS_NAME, items.OBJECT_PATH, items.INTERFACE, "Channel", None, None,
            Gio.DBusCallFlags.NONE, DEADLINE * 1000, None, None)
        socket = Gio.Socket.new_from_fd(descriptors.get(0))
        self._channel = Gio.DBusConnection.new_sync(
            socket.connection_factory_create_connection(), None, flags.AUTHENTICATION_CLIENT)
        self._events = []
        self._channel.signal_subscribe(None, items.INTERFACE, "Notification", items.OBJECT_PATH,
                                       None, Gio.DBusSignalFlags.NONE, self._heard)
        self._call("Connect", None)
        # Event 4, which says that it is connected.
        items.event(self._next())

    def close(self):
        self._channel.close_sync()
        self._bus.close_sync()

    def _call(self, member, body):
        return self._channel.call_sync(None, items.OBJECT_PATH, items.INTERFACE, member, body,
                                       None, Gio.DBusCallFlags.NONE, DEADLINE * 1000)

    def _heard(self, _channel, _sender, _path, _interface, _member, body):
        self._events.append(bytes(body.get_child_value(0).unpack()))

    def _next(self):
        deadline = time.monotonic() + DEADLINE
        while not self._events:
            assert time.monotonic() < deadline, "no event"
            GLib.MainContext.default().iteration(False)
        return self._events.pop(0)

    def call(self, function, payload=b""):
        request = GLib.Variant("(ay)", [items.request(function, payload)])
        return bytes(self._call("Message", request).get_child_value(0).unpack())

    def next_event(self):
        return items.event(self._next())
