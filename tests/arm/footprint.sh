#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Compares how much text the archives that were built for 32-bit ARM have with what README.md
# promises of them: the rows of its table that begin as below. They are linked for that, as code
# that several sources bring along is in a program once.
#
# usage: footprint.sh SOURCE_FOLDER BUILD_FOLDER

set -euo pipefail

readonly root=$1 build=$2
failed=0

# hold ROW PART…: the text of all the parts together.
hold() {
    local row=$1 bound bytes
    shift
    bound=$(sed -n "s/^| ${row}[^|]* | at most \([0-9]*\) KiB .*/\1/p" "$root/README.md")
    [ -n "$bound" ] || { printf 'README.md has no row for: %s\n' "$row" >&2; exit 1; }
    arm-linux-gnueabihf-ld -r --whole-archive "${@/#/$build/libapplist_}" -o "$build/footprint.o"
    bytes=$(arm-linux-gnueabihf-size "$build/footprint.o" | awk 'END { print $1 }')
    printf '%s: %d bytes of text, of at most %d KiB\n' "$row" "$bytes" "$bound"
    [ "$bytes" -le $((bound * 1024)) ] || failed=1
}

hold 'Service, transport and log' service.a transport.a bus.a common.a log.a
hold 'Partner' partner.a remote.a remote_core.a bus.a common.a
exit "$failed"
