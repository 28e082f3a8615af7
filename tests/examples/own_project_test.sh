#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds the project of the tutorial the way its reader does: a folder of one's own with a copy of
# an example in it, and this repository beside them.
#
# usage: own_project_test.sh SOURCE_FOLDER CMAKE GENERATOR

set -euo pipefail

readonly root=$1 cmake=$2 generator=$3

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cp "$root"/examples/{publish.cpp,FixedList.h,own_project/CMakeLists.txt} "$scratch"
ln -s "$root" "$scratch/applist"

if ! { "$cmake" -S "$scratch" -B "$scratch/build" -G "$generator" -DCMAKE_BUILD_TYPE=Debug &&
    "$cmake" --build "$scratch/build"; } > "$scratch/log" 2>&1; then
    cat "$scratch/log" >&2
    exit 1
fi

program=$(find "$scratch/build" -name launcher -type f)
# Without a bus it comes as far as saying so.
if DBUS_STARTER_ADDRESS=unix:path="$scratch/no-bus" "$program" 2> "$scratch/said"; then
    printf 'the program does not notice that there is no bus\n' >&2
    exit 1
fi
grep "cannot reach the bus that started this program" "$scratch/said"
