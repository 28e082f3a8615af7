# SPDX-License-Identifier: MIT

"""What the programs say of themselves when they are asked for help."""

import re
import subprocess

OPTION = re.compile(r"(?<![\w-])--[a-z][a-z-]+|(?<![\w-])-[a-zA-Z](?![\w-])")


def help_of(program, *command):
    return subprocess.run([program, *command, "--help"], check=True, capture_output=True,
                          text=True, timeout=60).stdout


def section(text, title, following):
    """Returns what stands between the line with `title` and the line with `following`."""
    return text.partition(f"\n{title}\n")[2].partition(f"\n{following}\n")[0]


def declared(text):
    """The options at the beginning of the lines in a help's lists of options."""
    found = set()
    for line in text.splitlines():
        if line.startswith("  -"):
            found.update(OPTION.findall(re.split(r"\s{2,}|\[|=", line.strip())[0]))
    return found


def commands(text):
    listed = section(text, "Commands:", "")
    return re.findall(r"^  ([a-z]+)", listed, re.M)
