# SPDX-License-Identifier: MIT

# What the tests of consumers share, which say what each is called: a folder that goes with the test,
# and building somebody's project there.

# shellcheck shell=bash
# shellcheck disable=SC2154  # who reads this sets name, root, cmake, generator and prefix

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Shows what the last command said.
fail() {
    printf '%s: %s\n' "$name" "$1" >&2
    sed 's/^/    /' "$scratch/log" >&2
    exit 1
}

# with_cmake FOLDER OPTION…: the project in that folder of the tests, built in $scratch/bin.
with_cmake() {
    "$cmake" -S "$root/tests/install/$1" -B "$scratch/bin" -G "$generator" \
        -DEXAMPLES="$root/examples" -DCMAKE_PREFIX_PATH="$prefix" "${@:2}" > "$scratch/log" 2>&1 ||
        fail 'does not configure'
    "$cmake" --build "$scratch/bin" > "$scratch/log" 2>&1 || fail 'does not build'
}
