#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Cross-builds the libraries for 32-bit ARM, installs them, and cross-builds the consumers from what
# was installed. Nothing of it is run.
#
# usage: APPLIST_SYSROOT=FOLDER armhf_test.sh SOURCE_FOLDER CMAKE GENERATOR SCRATCH_FOLDER

set -euo pipefail

readonly root=$1 cmake=$2 generator=$3 scratch=$4
readonly toolchain=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" -DCMAKE_BUILD_TYPE=Release)

rm -rf "$scratch/prefix" "$scratch/consumer"
"$cmake" -S "$root" -B "$scratch/build" -G "$generator" "${toolchain[@]}" -DAPPLIST_APPS=OFF \
    -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DCMAKE_INSTALL_PREFIX="$scratch/prefix" \
    -DCMAKE_INSTALL_LIBDIR=lib
"$cmake" --build "$scratch/build" --target install
for static in OFF ON; do
    "$cmake" -S "$root/tests/install/consumer" -B "$scratch/consumer/$static" -G "$generator" \
        "${toolchain[@]}" -DEXAMPLES="$root/examples" -Dapplist_USE_STATIC_LIBS=$static \
        -Dapplist_DIR="$scratch/prefix/lib/cmake/applist"
    "$cmake" --build "$scratch/consumer/$static"
done

for program in "$scratch"/consumer/*/{publish,add,both,host,plug_in.so} \
    "$scratch"/prefix/lib/*.so.0.*; do
    readelf -h "$program" | grep -q 'Machine: *ARM' || {
        printf 'not for ARM: %s\n' "$program" >&2
        exit 1
    }
done
printf 'armhf: the libraries and their consumers are built\n'
