# SPDX-License-Identifier: MIT

"""A service that answers as it is told, however wrong: scripted_service.py ADDRESS [LINE...]

A LINE, as an argument or on standard input, is one of
    NUMBER=fail | refuse | silent | leave   what a call of that function leads to
    NUMBER=TEXT                             what it is answered with, escapes as in printf
    notify NUMBER                           an event for every partner
At first its list is that of two items, and no edit does anything. It writes down every call.
"""

import os
import struct
import sys

import dbus.bus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

INTERFACE = "org.tessel.Local1"


class Service(dbus.service.Object):
    answers = {2001: "Maps\\tmaps\\n", 2002: "Maps\\tmaps\\nMusic\\tmusic\\n"}
    notified = 0

    def obey(self, line):
        if line.startswith("notify "):
            self.notified += 1
            self.Notification(dbus.ByteArray(struct.pack("=i", int(line[7:]))))
        else:
            number, _, answer = line.partition("=")
            self.answers[int(number)] = answer

    @dbus.service.signal(INTERFACE, signature="ay")
    def Notification(self, body):
        pass

    @dbus.service.method(INTERFACE)
    def Connect(self):
        pass

    @dbus.service.method(INTERFACE)
    def Channel(self):
        print("channel", flush=True)
        raise dbus.DBusException("as told", name="org.freedesktop.DBus.Error.UnknownMethod")

    @dbus.service.method("org.freedesktop.DBus.Properties", "ss", "v")
    def Get(self, _interface, name):
        if name != "Serial":
            raise dbus.DBusException(name, name="org.freedesktop.DBus.Error.UnknownProperty")
        return dbus.UInt64(self.notified)

    @dbus.service.method(INTERFACE, "ay", "ay", ("reply", "fail"), byte_arrays=True)
    def Message(self, request, reply, fail):
        (number,) = struct.unpack("=i", request[-4:])
        print(number, flush=True)
        answer = self.answers.get(number, "")
        if answer == "leave":
            os._exit(0)
        if answer in ("fail", "refuse"):
            name = {"fail": INTERFACE + ".Error.HandlerFailed",
                    "refuse": "org.freedesktop.DBus.Error.AccessDenied"}[answer]
            fail(dbus.DBusException("as told", name=name))
        elif answer != "silent":
            reply(dbus.ByteArray(answer.encode().decode("unicode_escape").encode("latin-1")))


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    connection = dbus.bus.BusConnection(sys.argv[1])
    service = Service(connection, "/org/tessel/Local/Applist")
    for line in sys.argv[2:]:
        service.obey(line)
    connection.request_name("org.tessel.Local.Applist")
    loop = GLib.MainLoop()

    def read(*_):
        lines = os.read(0, 4096).decode().splitlines()
        for line in lines:
            service.obey(line)
        if not lines:
            loop.quit()
        return True

    GLib.io_add_watch(0, GLib.IO_IN | GLib.IO_HUP, read)
    print("ready", flush=True)
    loop.run()


main()
