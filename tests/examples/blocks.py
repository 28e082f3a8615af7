# SPDX-License-Identifier: MIT

"""The blocks of code in a document, and the comment in the line before one."""

import re

FENCE = re.compile(r"(?:^(?P<mark>[^\n]*)\n)?^```(?P<language>\w*)\n(?P<text>.*?)^```$",
                   re.M | re.S)
_MARK = re.compile(r"<!-- from (?P<file>\S+) -->")


def origin(block):
    """Returns the file that a block says it is from, or None."""
    mark = _MARK.fullmatch(block["mark"] or "")
    return mark and mark["file"]
