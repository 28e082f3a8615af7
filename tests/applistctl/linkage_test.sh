#!/bin/sh
# SPDX-License-Identifier: MIT

# The tool carries the partner, and nothing of the service.
#
# usage: linkage_test.sh NM APPLISTCTL APPLISTD

set -u

readonly nm="$1" tool="$2" daemon="$3"

# Says how many symbols of `program` name the class.
count() {
    "$nm" --demangle "$1" | grep -c "\b$2::"
}

fail() {
    echo "$1" >&2
    exit 1
}

# What is there is found: so what is not found is not there.
[ "$(count "$daemon" LocalAppListModel)" -gt 0 ] || fail "$daemon: no symbol of the service"
[ "$(count "$tool" RemoteAppListModel)" -gt 0 ] || fail "$tool: no symbol of the partner"
found=$(count "$tool" LocalAppListModel)
[ "$found" -eq 0 ] || fail "$tool: $found symbols of the service"
