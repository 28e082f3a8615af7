# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: rounds of the simulation, and faults for it to find.

# shellcheck shell=bash

# simulation TARGET: an optimised build of the simulation.
simulation() {
    quietly cmake -S . -B build/sim -G Ninja -DCMAKE_BUILD_TYPE=Release -DAPPLIST_APPS=OFF \
        -DAPPLIST_GTK=OFF -DAPPLIST_QT=OFF -DAPPLIST_TESTS=ON
    quietly cmake --build build/sim --target "$1"
}

simulate() {
    [ $# -ge 2 ] || fail "say where to begin and how often: ./dev simulate SEED ROUNDS"
    simulation sim
    build/sim/bin/sim run "$@"
}

plant() {
    simulation planted_faults
    tests/sim/planted_faults.py hunt build/sim/bin 20000 "$@"
}
