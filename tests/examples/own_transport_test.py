# SPDX-License-Identifier: MIT

"""The service over an integrator's own transport: two pipes, and no D-Bus."""

import struct
import subprocess
import unittest

from example_case import program
from support import items
from support.processes import DEADLINE

PUBLISHED = items.item("Maps", "maps") + items.item("Music", "music") + items.item("Phone", "phone")
ANNOUNCEMENT = (b"N", struct.pack("=i", items.LOCAL_CREATED))
CHANGE = (b"N", struct.pack("=i", items.ITEM_CHANGE))
SELECTION = (b"N", struct.pack("=i", items.ITEM_SELECTION))


def frame(kind, body):
    return kind + struct.pack("=I", len(body)) + body


def message(function, payload=b""):
    return frame(b"M", items.request(function, payload))


def frames(data):
    """The (kind, body) pairs of what the service wrote."""
    found = []
    while data:
        kind, (length,) = data[:1], struct.unpack("=I", data[1:5])
        assert len(data) >= 5 + length, f"a frame of {length} bytes is cut off in {data!r}"
        found.append((kind, data[5:5 + length]))
        data = data[5 + length:]
    return found


class OwnTransport(unittest.TestCase):
    def serve(self, *sent, status=0):
        """The frames that the service writes from its start to its end, and its log."""
        done = subprocess.run([program("own_transport")], input=b"".join(sent),
                              capture_output=True, timeout=DEADLINE, check=False)
        self.assertEqual(done.returncode, status, done.stderr.decode())
        return frames(done.stdout), done.stderr.decode()

    def test_announces_the_service_and_ends_with_its_partner(self):
        written, _ = self.serve()
        self.assertEqual(written, [ANNOUNCEMENT])

    def test_answers_with_the_list(self):
        written, _ = self.serve(message(items.GET_ALL_ITEMS))
        self.assertEqual(written, [ANNOUNCEMENT, (b"R", PUBLISHED)])

    def test_sends_the_events_of_a_call_before_its_reply(self):
        written, _ = self.serve(message(items.ADD_ITEM_AT_END, items.item("Radio", "radio")),
                                message(items.SET_SELECTION, items.item("", "radio")),
                                message(items.GET_SELECTION))
        self.assertEqual(written, [ANNOUNCEMENT, CHANGE, (b"R", b""), SELECTION, (b"R", b""),
                                   (b"R", items.item("Radio", "radio"))])

    def test_answers_nothing_to_a_message_without_a_number_and_logs_it(self):
        written, log = self.serve(frame(b"M", b""), frame(b"M", b"abc"))
        self.assertEqual(written, [ANNOUNCEMENT, (b"R", b""), (b"R", b"")])
        self.assertEqual(log.count("Data corrupted. Does not contain message id."), 2)

    def test_takes_a_notification_without_an_answer(self):
        written, log = self.serve(frame(b"N", struct.pack("=i", items.ITEM_CHANGE)))
        self.assertEqual(written, [ANNOUNCEMENT])
        self.assertIn("callbackNotificationObject object is NULL", log)

    def test_takes_a_frame_of_its_limit_and_refuses_a_longer_one(self):
        limit = 1 << 20
        largest = frame(b"M", items.request(items.GET_SELECTION, b" " * (limit - 4)))
        written, _ = self.serve(largest)
        self.assertEqual(written[1:], [(b"R", items.item("Maps", "maps"))])
        self.serve(b"M" + struct.pack("=I", limit + 1), status=1)

    def test_fails_at_half_a_frame_and_at_an_unknown_kind(self):
        self.serve(message(items.GET_ALL_ITEMS)[:-1], status=1)
        self.serve(b"M\x01", status=1)
        self.serve(frame(b"X", b""), status=1)

    def test_needs_no_library_of_the_bus(self):
        needed = subprocess.run(["ldd", program("own_transport")], capture_output=True, text=True,
                                timeout=DEADLINE, check=True).stdout
        self.assertIn("libc.so", needed)
        self.assertNotIn("libsystemd", needed)
        self.assertNotIn("dbus", needed)


if __name__ == "__main__":
    unittest.main()
