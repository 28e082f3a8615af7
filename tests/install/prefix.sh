#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds the libraries as they are shipped, and installs them for the consumers of the other tests.
#
# usage: prefix.sh SOURCE_FOLDER CMAKE GENERATOR BUILD_FOLDER PREFIX OPTION…
# OPTION: which adapters, for CMake

set -euo pipefail

readonly root=$1 cmake=$2 generator=$3 build=$4 prefix=$5
shift 5

"$cmake" -S "$root" -B "$build" -G "$generator" -DCMAKE_BUILD_TYPE=Release -DAPPLIST_APPS=ON \
    -DAPPLIST_EXAMPLES=OFF -DAPPLIST_MAN=OFF -DCMAKE_INSTALL_PREFIX="$prefix" \
    -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_INSTALL_LIBEXECDIR=libexec "$@"
"$cmake" --build "$build"
rm -rf "$prefix"
for component in runtime development programs; do
    "$cmake" --install "$build" --component "$component"
done
