#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# The project of the tutorial's reader, with the library from where it was installed: the line that
# took the sources in is another one, and what only the sources have is left out.
#
# usage: tutorial_test.sh SOURCE_FOLDER CMAKE GENERATOR PREFIX

set -euo pipefail

readonly name=tutorial root=$1 cmake=$2 generator=$3 prefix=$4

# shellcheck source=tests/install/consumer.bash
source "$root/tests/install/consumer.bash"

shown=$(grep '^find_package(applist ' "$root/docs/tutorial.md")
cp "$root"/examples/*.{cpp,h} "$root/examples/own_project/next.cpp" "$scratch"
sed "s/^add_subdirectory(applist)$/$shown/; /piped/d" "$root/examples/own_project/CMakeLists.txt" \
    > "$scratch/CMakeLists.txt"
grep -qx "$shown" "$scratch/CMakeLists.txt"

"$cmake" -S "$scratch" -B "$scratch/build" -G "$generator" -DCMAKE_PREFIX_PATH="$prefix" \
    > "$scratch/log" 2>&1 || fail 'does not configure'
"$cmake" --build "$scratch/build" > "$scratch/log" 2>&1 || fail 'does not build'
for program in launcher screen add keep glib_launcher poll_launcher next; do
    ldd "$scratch/build/$program" > "$scratch/log"
    grep -q "libapplist-.*=> $prefix/" "$scratch/log" || fail "$program has no library from there"
done
printf 'tutorial: built with the installed library\n'
