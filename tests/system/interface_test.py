# SPDX-License-Identifier: MIT

"""The description of the interface that is installed, against what the daemon says of itself."""

import unittest

import shipped
from introspection import introspected
from support import items
from support.case import AppTest


def interface(node, name):
    (found,) = [each for each in node.iter("interface") if each.get("name") == name]
    return found


def members(found):
    """Everything that an interface has, in an order of its own: each member with its attributes,
    arguments and annotations."""
    def described(element):
        inner = [described(child) for child in element]
        # Arguments are told apart by their place, annotations by their name.
        return (element.tag, sorted(element.attrib.items()),
                [each for each in inner if each[0] == "arg"],
                sorted(each for each in inner if each[0] != "arg"))
    return sorted(described(child) for child in found)


class TheInterfacesDescription(AppTest):
    def setUp(self):
        super().setUp()
        self.start("--items", self.file("Maps\tmaps\n"))
        self.live = introspected(self.bus)

    def test_is_what_the_daemon_says_of_itself(self):
        described = members(interface(shipped.xml(shipped.INTERFACE), items.INTERFACE))

        self.assertEqual(described, members(interface(self.live, items.INTERFACE)))
        self.assertEqual(len(described), 9)

    def test_describes_no_other_interface(self):
        names = [each.get("name") for each in shipped.xml(shipped.INTERFACE).iter("interface")]

        self.assertEqual(names, [items.INTERFACE])


if __name__ == "__main__":
    unittest.main()
