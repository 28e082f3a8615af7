# SPDX-License-Identifier: MIT

"""Makes one call after the other of the running programs fail, and tells what goes wrong then.

  matrix.py [--seed N] [--seconds N] [--sample N] KIND PROGRAM…

The order, and which cases are taken when time or their number is limited, depend on the seed alone.
"""

import argparse
import random
import sys
import time

from daemon_cases import (BusRestartCases, DaemonCases, EntriesCases, ReloadCases, StallCases,
                          StartCases, StopCases)
from follower_cases import FollowerCases
from tool_cases import ToolCases

# What is made in one start-up and one round of work; more of them are like these.
MOST_OCCURRENCES = 20

PROGRAMS = {
    "applistctl": ToolCases,
    "applistd": DaemonCases,
    "applistd-entries": EntriesCases,
    "applistd-reload": ReloadCases,
    "applistd-restart": BusRestartCases,
    "applistd-stall": StallCases,
    "applistd-start": StartCases,
    "applistd-stop": StopCases,
    "follow": FollowerCases,
}


def run(cases, chosen, end, stop_after):
    taken = took_place = 0
    wrong = []
    for case in chosen:
        if time.monotonic() > end or len(wrong) >= stop_after:
            break
        happened, complaint = cases.run(case)
        taken += 1
        took_place += happened
        if complaint:
            wrong.append(f"{case[-1]}: {complaint}")
            print(wrong[-1], flush=True)
    return taken, took_place, wrong


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    parser.add_argument("--sample", type=int)
    parser.add_argument("--call", help="only faults that begin with this")
    parser.add_argument("--stop-after", type=int, default=20)
    parser.add_argument("kind", choices=("calls", "memory"))
    parser.add_argument("program", nargs="+", choices=sorted(PROGRAMS))
    given = parser.parse_args()
    failures = 0
    for program in given.program:
        cases = PROGRAMS[program]()
        try:
            everything = cases.all(given.kind, MOST_OCCURRENCES)
            if given.call:
                everything = [case for case in everything if str(case[-1]).startswith(given.call)]
            chosen = random.Random(given.seed).sample(everything, len(everything))[:given.sample]
            end = time.monotonic() + given.seconds / len(given.program)
            taken, took_place, wrong = run(cases, chosen, end, given.stop_after)
        finally:
            cases.remove()
        failures += len(wrong)
        print(f"{program}, {given.kind}: seed {given.seed}, {taken} of {len(everything)} cases, "
              f"{took_place} failures took place, {len(wrong)} went wrong", flush=True)
        if took_place == 0:
            print("no failure took place")
            failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
