# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: 32-bit ARM, from Debian's packages, which are unpacked in
# build/ and not installed. The tests run in an emulated processor, on this machine's kernel and
# against this machine's bus daemons.

# shellcheck shell=bash
# shellcheck disable=SC2154  # root is ./dev's

# What the libraries, the programs and the tests need, beside the compiler.
arm_libraries=(libcli11-dev libglib2.0-dev libgmock-dev libgtest-dev libstdc++6 libsystemd-dev
    nlohmann-json3-dev)

# Held to what is done within a second, or in a turn of a millisecond.
arm_timed='*ADestroyedPartner.HasSentMany*:*APartnerOnABus.ShowsTheListSoonAfterItStood*'
arm_timed+=':*APartnerOfABusyService.*:*AnEndpointWhoseRepliesAreNotRead.RationsLargeReplies*'
arm_timed+=':*AChannelToAnEndpoint.TakesTurnsWithTheBus*'

arm() {
    export APPLIST_SYSROOT=$root/build/armhf/sysroot
    quietly tests/arm/sysroot.sh "$APPLIST_SYSROOT" "${arm_libraries[@]}"
    if [ $# -eq 0 ]; then
        build armhf/release -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" \
            -DCMAKE_BUILD_TYPE=Release
        quietly tests/arm/consumers.sh "$root" cmake Ninja "$root/build/armhf/release" \
            "$root/build/armhf/consumers"
        tests/arm/footprint.sh "$root" "$root/build/armhf/release"
    fi
    say "not run, as an emulated processor does not keep the time: ${arm_timed//:/ }"
    configure armhf/debug -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" \
        -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 -DAPPLIST_TESTS=ON -DAPPLIST_APPS=OFF \
        -DAPPLIST_TESTS_AT_ONCE=ON -DAPPLIST_UNIT_LAUNCHER="qemu-arm;-L;$APPLIST_SYSROOT" \
        -DAPPLIST_NOT_EMULATED="$arm_timed"
    quietly cmake --build build/armhf/debug --target unit_programs bus_programs
    # More than there are processors, as many wait for their bus most of the time.
    ctest --test-dir build/armhf/debug --output-on-failure -j "$((2 * $(nproc)))" \
        -L 'unit|bus' -LE static "$@"
}
