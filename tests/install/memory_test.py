# SPDX-License-Identifier: MIT

"""How much memory the installed daemon has for itself while nothing happens.

Pages of shared libraries are not counted, but for those that it has changed: how much of them is
its share depends on who else has them in memory.
"""

import os
import pathlib
import re
import unittest

from support.case import AppTest

README = pathlib.Path(os.environ["APPLIST_SOURCES"]) / "README.md"


def own_memory(pid):
    """Returns kilobytes."""
    total = 0
    is_shared = False
    with open(f"/proc/{pid}/smaps", encoding="utf-8") as mappings:
        for line in mappings:
            words = line.split()
            if re.match("[0-9a-f]+-[0-9a-f]+ ", line):
                is_shared = ".so" in words[-1]
            elif words[0] == ("Anonymous:" if is_shared else "Rss:"):
                total += int(words[1])
    return total


class ADaemonWithItemsFromAFile(AppTest):
    def test_has_no_more_memory_than_is_promised(self):
        row = re.search(r"^\| `applistd --items`, idle: .* \| at most ([\d,]+) kB",
                        README.read_text(encoding="utf-8"), re.M)
        daemon = self.start("--items", self.file("Maps\tmaps\nMusic\tmusic\nNews\tnews\n"))
        self.assertEqual(self.partner().ids(), ["maps", "music", "news"])

        own = own_memory(daemon.process.pid)

        print(f"applistd --items, idle: {own} kB of its own")
        self.assertGreater(own, 100)
        self.assertLessEqual(own, int(row.group(1).replace(",", "")))


if __name__ == "__main__":
    unittest.main()
