# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: 32-bit ARM, from Debian's packages, which are unpacked in
# build/ and not installed. The tests run in an emulated processor, on this machine's kernel and
# against this machine's bus daemons.

# shellcheck shell=bash
# shellcheck disable=SC2154  # root is ./dev's

# What the libraries, the programs and the tests need, beside the compiler.
arm_libraries=(libcli11-dev libglib2.0-dev libgmock-dev libgtest-dev libstdc++6 libsystemd-dev
    nlohmann-json3-dev)

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
    # The sanitizers' own libraries are the compiler's, so they are not in the folder.
    configure armhf/debug -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" \
        -DCMAKE_BUILD_TYPE=Debug -DAPPLIST_SANITIZE=ON -DAPPLIST_TESTS=ON -DAPPLIST_APPS=OFF \
        -DCMAKE_EXE_LINKER_FLAGS='-static-libasan -static-libubsan' \
        -DAPPLIST_UNIT_LAUNCHER="qemu-arm;-L;$APPLIST_SYSROOT"
    quietly cmake --build build/armhf/debug --target unit_programs bus_programs
    # Who looks for leaks stops the program from outside, which an emulated one does not bear.
    ASAN_OPTIONS=detect_leaks=0 ctest --test-dir build/armhf/debug --output-on-failure \
        -j "$(nproc)" -L 'unit|bus' -LE static "$@"
}
