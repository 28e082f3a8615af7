# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: faults, kills and floods.

# shellcheck shell=bash

# What ctest would set for the programs of the matrix.
fault_matrix() {
    local bin=$PWD/build/torture/bin
    APPLIST_FAULTY_LIBC=$PWD/build/torture/tests/libfaulty_libc.so APPLISTD=$bin/applistd \
        APPLISTCTL=$bin/applistctl APPLIST_FOLLOW=$bin/examples/follow PYTHONDONTWRITEBYTECODE=1 \
        PYTHONPATH=$PWD/tests/apps /usr/bin/python3 tests/faults/matrix.py "$@"
}

# Not under the sanitizers: ten times as many rounds find more than they do.
torture() {
    local seconds=${1:-} seed=${2:-$((RANDOM + 1))} limit=() failed=0
    quietly cmake -S . -B build/torture -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DAPPLIST_GTK=OFF -DAPPLIST_QT=OFF -DAPPLIST_TESTS=ON
    quietly cmake --build build/torture \
        --target applistd applistctl example_follow faulty_libc torture
    [ -z "$seconds" ] || limit=(--seconds $((seconds / 3)))
    say "seed $seed; the same again: ./dev torture '$seconds' $seed"
    fault_matrix --seed "$seed" "${limit[@]}" calls \
        applistctl applistd applistd-start applistd-entries applistd-stop applistd-stall \
        applistd-reload applistd-restart follow || failed=1
    fault_matrix --seed "$seed" "${limit[@]}" memory \
        applistctl applistd applistd-start applistd-stop || failed=1
    build/torture/bin/torture $((${seconds:-1800} / 3)) "$seed" || failed=1
    return "$failed"
}
