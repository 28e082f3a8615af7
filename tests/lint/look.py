# SPDX-License-Identifier: MIT

"""look.py FOLDER: has the compiler of the build in FOLDER read every source, and make nothing of it.

What a compiler warns of while it reads is all that is wanted of a second one; code, and programs,
would take half as long again. Prints what it says, and fails when it fails. Sources that are made
from others are made first, so that what makes them is seen to work.
"""

import json
import os
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor


def command_of(entry):
    words = shlex.split(entry["command"])
    at = words.index("-o")
    return words[:at] + words[at + 2:] + ["-fsyntax-only"]


def make_generated(folder, files):
    here = os.path.realpath(folder)
    inside = [os.path.relpath(each, here) for each in files if each.startswith(here + os.sep)]
    if inside:
        subprocess.run(["ninja", "-C", folder, "--quiet", *inside], check=True)


def look(entry):
    done = subprocess.run(command_of(entry), cwd=entry["directory"], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    sys.stdout.write(done.stdout)
    return done.returncode == 0


def main():
    folder = sys.argv[1]
    with open(os.path.join(folder, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    make_generated(folder, [entry["file"] for entry in entries])
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        passed = list(pool.map(look, entries))
    if not entries or not all(passed):
        sys.exit(f"look: {passed.count(False)} of {len(entries)} sources do not pass")


if __name__ == "__main__":
    main()
