# SPDX-License-Identifier: MIT

"""The bus's policy that is installed, read: each rule by itself, and all against the daemon."""

import unittest

import shipped
from introspection import introspected
from support import items
from support.case import AppTest


def rules():
    """The attributes of every rule, those that allow and those that deny."""
    return [rule.attrib for rule in shipped.xml(shipped.POLICY).iter()
            if rule.tag in ("allow", "deny")]


def send_rules():
    return [rule for rule in rules() if any(name.startswith("send_") for name in rule)]


def policies():
    """Whom the rules are for, and how many each has."""
    return [(sorted(policy.attrib.items()), len(policy))
            for policy in shipped.xml(shipped.POLICY).iter("policy")]


class ThePolicy(AppTest):
    def test_has_no_send_rule_without_a_destination(self):
        self.assertTrue(send_rules())
        for rule in send_rules():
            self.assertEqual(rule.get("send_destination"), items.BUS_NAME, rule)

    def test_denies_nothing_and_says_nothing_of_what_is_received(self):
        # The stock policy denies what is not allowed here.
        denied = [rule.attrib for rule in shipped.xml(shipped.POLICY).iter("deny")]
        received = [rule for rule in rules() if any(name.startswith("receive_") for name in rule)]

        self.assertEqual((denied, received), ([], []))

    def test_is_for_one_user_and_one_group(self):
        self.assertEqual([who for who, _ in policies()],
                         [[("user", "applist")], [("group", "applist")]])

    def test_lets_only_the_user_own_the_name_and_no_other(self):
        (owner, _) = shipped.xml(shipped.POLICY).iter("policy")

        self.assertEqual([rule.attrib for rule in owner], [{"own": items.BUS_NAME}])
        self.assertEqual([rule for rule in rules() if "own" in rule or "own_prefix" in rule],
                         [{"own": items.BUS_NAME}])

    def test_names_exactly_the_methods_that_the_daemon_has(self):
        self.start("--items", self.file("Maps\tmaps\n"))
        live = [(interface.get("name"), method.get("name"))
                for interface in introspected(self.bus).iter("interface")
                for method in interface.iter("method")]

        named = [(rule.get("send_interface"), rule.get("send_member")) for rule in send_rules()]

        self.assertEqual(sorted(named), sorted(live))

    def test_lets_a_member_carry_as_many_descriptors_as_it_takes(self):
        self.start("--items", self.file("Maps\tmaps\n"))
        taken = {}
        for method in introspected(self.bus).iter("method"):
            arguments = [each for each in method.iter("arg") if each.get("direction") == "in"]
            taken[method.get("name")] = sum(each.get("type") == "h" for each in arguments)

        allowed = {rule["send_member"]: int(rule["max_fds"]) for rule in send_rules()}

        self.assertEqual(allowed, taken)


if __name__ == "__main__":
    unittest.main()
