# SPDX-License-Identifier: MIT

"""What the daemon says of itself."""

import xml.etree.ElementTree as ElementTree

import dbus.bus

from support import items
from support.processes import DEADLINE


def introspected(bus):
    """The description that the daemon on `bus` gives of its object."""
    connection = dbus.bus.BusConnection(bus.address)
    try:
        return ElementTree.fromstring(connection.call_blocking(
            items.BUS_NAME, items.OBJECT_PATH, "org.freedesktop.DBus.Introspectable",
            "Introspect", "", (), timeout=DEADLINE))
    finally:
        connection.close()
