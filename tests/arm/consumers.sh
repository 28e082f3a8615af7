#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Installs what was built for 32-bit ARM, and cross-builds the consumers from that.
#
# usage: APPLIST_SYSROOT=FOLDER consumers.sh SOURCE_FOLDER CMAKE GENERATOR BUILD_FOLDER SCRATCH_FOLDER

set -euo pipefail

readonly root=$1 cmake=$2 generator=$3 build=$4 scratch=$5

rm -rf "$scratch"
"$cmake" --install "$build" --prefix "$scratch/prefix"
for static in OFF ON; do
    "$cmake" -S "$root/tests/install/consumer" -B "$scratch/consumer/$static" -G "$generator" \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/armhf.cmake" -DCMAKE_BUILD_TYPE=Release \
        -DEXAMPLES="$root/examples" -Dapplist_USE_STATIC_LIBS=$static \
        -Dapplist_DIR="$scratch/prefix/lib/cmake/applist"
    "$cmake" --build "$scratch/consumer/$static"
done

for program in "$scratch"/consumer/*/{publish,add,both,host,plug_in.so} \
    "$scratch"/prefix/{bin/*,lib/*.so.0.*,libexec/applist/*}; do
    readelf -h "$program" | grep -q 'Machine: *ARM' || {
        printf 'not for ARM: %s\n' "$program" >&2
        exit 1
    }
done
