#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# What is built without a distribution's flags is hardened like what a distribution ships.
#
# usage: hardening_test.sh PREFIX

set -euo pipefail

count=0
for file in "$1"/lib/libapplist-*.so.*.* "$1"/bin/* "$1"/libexec/applist/*; do
    lacks() {
        printf 'hardening: %s lacks %s\n' "${file##*/}" "$1" >&2
        exit 1
    }
    parts=$(readelf --wide --file-header --program-headers --dynamic --dyn-syms "$file")
    grep -q 'Type: *DYN' <<< "$parts" || lacks 'a place of its own in memory each time'
    grep -q GNU_RELRO <<< "$parts" || lacks 'tables that are read-only once it is loaded'
    grep -q BIND_NOW <<< "$parts" || lacks 'functions that are looked up when it is loaded'
    grep -q __stack_chk_fail <<< "$parts" || lacks 'guarded stacks'
    grep -q '_chk@' <<< "$parts" || lacks 'functions that know the size of their buffer'
    count=$((count + 1))
done
[ "$count" -eq 5 ] || {
    printf 'hardening: %d files instead of 5\n' "$count" >&2
    exit 1
}
printf 'hardening: %d files have all of it\n' "$count"
