# SPDX-License-Identifier: MIT

# shellcheck shell=bash
# Of ./dev: compares what the shared libraries offer to programs that were built against them with
# what the last release offered, which stands beside this file.

abi_libraries=(service partner)

# A release's dump is of Debian 12's compiler for amd64; others name the same things otherwise.
abi() {
    local library dump released
    [ "$(dpkg --print-architecture)" = amd64 ] || fail "the released ABI was dumped on amd64; compare there"
    build abi -DCMAKE_BUILD_TYPE=RelWithDebInfo -DAPPLIST_APPS=OFF
    # What stands in no installed header may change.
    quietly cmake --install build/abi --component development --prefix build/abi/installed
    for library in "${abi_libraries[@]}"; do
        dump=build/abi/libapplist-$library.abi
        released=packaging/abi/libapplist-$library.abi
        abidw --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only \
            --drop-private-types --headers-dir build/abi/installed/include/applist-1 \
            --out-file "$dump" \
            "build/abi/libapplist-$library.so"
        if [ "${1:-}" = --update ]; then
            cp "$dump" "$released"
        else
            abidiff "$released" "$dump" ||
                fail "libapplist-$library offers something else than the last release; when that is meant, run: ./dev abi --update; if something was taken away or changed, raise SOVERSION and rename the packages, too"
        fi
    done
    say "the ABI is that of the last release"
}
