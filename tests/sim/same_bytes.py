#!/usr/bin/env python3
# SPDX-License-Identifier: MIT

"""Runs rounds of the simulation twice, and each of them alone: the histories must be the same.

    same_bytes.py SIM FOLDER
"""

import os
import subprocess
import sys

SEED = 5000
ROUNDS = 30


def history_of(sim, path, seed, rounds):
    subprocess.run([sim, 'run', str(seed), str(rounds), 'history=' + path, 'all'],
                   stdout=subprocess.DEVNULL, check=True)
    with open(path, 'rb') as file:
        return file.read()


def main(sim, folder):
    path = os.path.join(folder, 'sim-history')
    first = history_of(sim, path, SEED, ROUNDS)
    second = history_of(sim, path, SEED, ROUNDS)
    alone = b''.join(history_of(sim, path, SEED + at, 1) for at in range(ROUNDS))
    os.remove(path)
    if len(first) < 1000 * ROUNDS:
        sys.exit(f'only {len(first)} bytes: this cannot be all that happened')
    if first != second:
        sys.exit('two runs with one seed differ')
    if first != alone:
        sys.exit('a round differs when others have gone before it')


if __name__ == '__main__':
    main(*sys.argv[1:])
