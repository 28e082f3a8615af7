# SPDX-License-Identifier: MIT

"""The files that make applistd a service of the machine, as they are installed."""

import os
import xml.etree.ElementTree as ElementTree

from support.processes import APPLISTD

_FILLED = os.environ["APPLIST_PACKAGING"]
_SOURCE = os.environ["APPLIST_PACKAGING_SOURCE"]
DAEMON = os.environ["APPLIST_DAEMON"]

POLICY = "dbus/system.d/org.tessel.Local.Applist.conf"
INTERFACE = "dbus/interfaces/org.tessel.Local1.xml"
SYSTEM_ACTIVATION = "dbus/system-services/org.tessel.Local.Applist.service"
SESSION_ACTIVATION = "dbus/services/org.tessel.Local.Applist.service"
SYSTEM_UNIT = "systemd/system/applistd.service"
USER_UNIT = "systemd/user/applistd.service"
SYSUSERS = "sysusers.d/applist.conf"


def text(path, daemon=APPLISTD):
    """The text of a file, with `daemon` in the place of the program that is installed."""
    filled = os.path.join(_FILLED, path)
    with open(filled if os.path.exists(filled) else os.path.join(_SOURCE, path),
              encoding="utf-8") as file:
        return file.read().replace(DAEMON, daemon)


def xml(path):
    return ElementTree.fromstring(text(path))


def settings(path, section):
    """The (name, value) pairs of one section of a unit or an activation file, in order."""
    found = []
    current = None
    for line in text(path).splitlines():
        if line.startswith("["):
            current = line.strip("[]")
        elif current == section and "=" in line and not line.startswith("#"):
            name, value = line.split("=", 1)
            found.append((name, value))
    return found


def setting(path, section, name):
    """The one value that a setting has."""
    (value,) = [value for key, value in settings(path, section) if key == name]
    return value
