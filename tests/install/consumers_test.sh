#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds somebody's programs from what was installed, in one of the ways in which that is done, and
# runs them on a bus of their own.
#
# usage: consumers_test.sh SOURCE_FOLDER CMAKE GENERATOR PREFIX WAY
# WAY: cmake-shared, cmake-static, pkg-config or pkg-config-static

set -euo pipefail

readonly name=consumers root=$1 cmake=$2 generator=$3 way=$5
prefix=$4

# shellcheck source=tests/install/consumer.bash
source "$root/tests/install/consumer.bash"

# without_others KIND PATTERN: only the libraries of a kind are there, not those of the pattern.
without_others() {
    cp -r "$prefix" "$scratch/prefix"
    # shellcheck disable=SC2086  # it is a pattern
    rm "$scratch"/prefix/lib/$2
    "$cmake" -S "$root/tests/install/consumer_of_one_kind" -B "$scratch/kind" -G "$generator" \
        -DKIND="$1" -DCMAKE_PREFIX_PATH="$scratch/prefix" "${@:3}" > "$scratch/log" 2>&1 ||
        fail "the $1 libraries alone are not found"
}

# with_pkg_config OPTION…: what a line in somebody's makefile does.
with_pkg_config() {
    local consumer=$root/tests/install/consumer flags
    mkdir "$scratch/bin"
    compile() {
        local package=$1
        shift
        flags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config "${options[@]}" --cflags --libs "$package")
        # shellcheck disable=SC2086  # they are words
        "${CXX:-c++}" -std=c++17 -I "$root/examples" "$@" $flags -Wl,-rpath,"$prefix/lib" \
            > "$scratch/log" 2>&1 || fail "does not build: $*"
    }
    local options=("$@")
    compile applist-service "$root/examples/publish.cpp" -o "$scratch/bin/publish"
    compile 'applist-service applist-glib-loop' "$root/examples/glib_loop.cpp" \
        -o "$scratch/bin/glib_loop"
    compile applist-partner "$root/examples/add.cpp" -o "$scratch/bin/add"
    compile 'applist-service applist-partner' "$consumer/both.cpp" -o "$scratch/bin/both"
    compile applist-partner -shared -fPIC -fvisibility=hidden "$consumer/plug_in.cpp" \
        -o "$scratch/bin/plug_in.so"
    "${CXX:-c++}" -std=c++17 "$consumer/host.cpp" -ldl -o "$scratch/bin/host"
}

# Whether `program` has the library `name` from the prefix, as the way says.
check_libraries() {
    local libraries
    libraries=$(ldd "$scratch/bin/$1")
    case $way in
        *static) ! grep -q libapplist <<< "$libraries" || fail "$1 has a shared library" ;;
        *) grep -q "$2.so.0 => $prefix/" <<< "$libraries" || fail "$1 has no $2.so.0" ;;
    esac
}

# The inner shell is the one that knows the bus.
# shellcheck disable=SC2016
run() {
    timeout 30 dbus-run-session -- bash -euo pipefail -c '
        "$0/publish" &
        service=$!
        trap "kill $service; wait $service" EXIT
        gdbus wait --session --timeout 20 org.tessel.Local.Applist
        "$0/add"
        "$0/host" "$0/plug_in.so"
    ' "$scratch/bin" > "$scratch/said" 2> "$scratch/log" || fail 'the programs do not work'
    timeout 30 dbus-run-session -- bash -euo pipefail -c \
        'address=$DBUS_SESSION_BUS_ADDRESS; unset DBUS_SESSION_BUS_ADDRESS; "$0/both" "$address"' \
        "$scratch/bin" >> "$scratch/said" 2> "$scratch/log" || fail 'both ends in one do not work'
}

case $way in
    cmake-shared)
        with_cmake consumer
        without_others shared '*.a'
        ;;
    cmake-static)
        with_cmake consumer -Dapplist_USE_STATIC_LIBS=ON
        without_others static '*.so*' -Dapplist_USE_STATIC_LIBS=ON
        ;;
    pkg-config) with_pkg_config ;;
    pkg-config-static)
        # The linker takes a shared library wherever there is one.
        cp -r "$prefix" "$scratch/prefix"
        rm "$scratch"/prefix/lib/*.so*
        prefix=$scratch/prefix
        with_pkg_config --static
        ;;
esac
check_libraries publish libapplist-service
check_libraries glib_loop libapplist-service
check_libraries add libapplist-partner
check_libraries plug_in.so libapplist-partner
check_libraries both libapplist-service
check_libraries both libapplist-partner
run

expected='Maps
Music
Phone
Radio
4 items
2 items, and a log of its own'
[ "$(< "$scratch/said")" = "$expected" ] || {
    cp "$scratch/said" "$scratch/log"
    fail 'the programs said something else'
}
printf 'consumers: %s: built, and run on a bus\n' "$way"
