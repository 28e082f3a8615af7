# SPDX-License-Identifier: MIT

"""The item text and the numbers of the protocol, written down once more from its description.

Nothing here is shared with the code under test, so a mistake on either side shows.
"""

import re
import struct

ITEM_CHANGE = 1
ITEM_SELECTION = 2
ITEM_CLICKED = 3
LOCAL_CREATED = 4

SET_SELECTION = 2000
GET_SELECTION = 2001
GET_ALL_ITEMS = 2002
REMOVE_ALL_ITEMS = 2003
ADD_ITEMS = 2004
ADD_ITEM_AT_END = 2005
SET_CLICKED = 2006
REMOVE_ITEM = 2007
MODIFY_ITEM = 2008

BUS_NAME = "org.tessel.Local.Applist"
OBJECT_PATH = "/org/tessel/Local/Applist"
INTERFACE = "org.tessel.Local1"


def _escape(text):
    return text.replace("\\", "\\\\").replace("\t", "\\t").replace("\n", "\\n").encode()


def _unescape(text):
    letters = {"\\\\": "\\", "\\t": "\t", "\\n": "\n"}
    return re.sub(r"\\.", lambda escape: letters[escape.group()], text)


def item(name, unique_id):
    """The text of one item, as bytes."""
    return _escape(name) + b"\t" + _escape(unique_id) + b"\n"


def items(text):
    """The (name, id) pairs of a text of any number of items."""
    lines = bytes(text).decode().split("\n")
    assert lines.pop() == "", f"the text {text!r} does not end with a line feed"
    return [tuple(_unescape(field) for field in line.split("\t")) for line in lines]


def request(function, payload=b""):
    """A message: the payload, then the number of the function in this machine's byte order."""
    return payload + struct.pack("=i", function)


def event(body):
    """The number of the event that a notification's body carries."""
    (number,) = struct.unpack("=i", bytes(body))
    return number
