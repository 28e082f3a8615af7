#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Builds somebody's screens from what was installed, in one of the ways in which that is done, and
# runs those of them that need no window, on a bus of their own.
#
# usage: toolkits_test.sh SOURCE_FOLDER CMAKE GENERATOR PREFIX WAY
# WAY: shared, static or pkg-config

set -euo pipefail

readonly name=toolkits root=$1 cmake=$2 generator=$3 prefix=$4 way=$5

# shellcheck source=tests/install/consumer.bash
source "$root/tests/install/consumer.bash"

# Where it was built without one of them, or that is in a package of its own.
without_gtk() {
    cp -r "$prefix" "$scratch/prefix"
    rm "$scratch/prefix/lib/cmake/applist/applist-gtk.cmake"
    ! "$cmake" -S "$root/tests/install/toolkits" -B "$scratch/without" -G "$generator" \
        -DEXAMPLES="$root/examples" -DCMAKE_PREFIX_PATH="$scratch/prefix" > "$scratch/log" 2>&1 ||
        fail 'configures without applist::gtk'
    grep -q 'applist::gtk is not installed' "$scratch/log" || fail 'does not say what is missing'
}

# compile COMPILER MODULE PROGRAM SOURCE…: what a line in somebody's makefile does.
compile() {
    local compiler=$1 flags
    flags=$(PKG_CONFIG_PATH=$prefix/lib/pkgconfig pkg-config --cflags --libs "$2")
    # shellcheck disable=SC2086  # they are words
    $compiler -fPIC -I "$root/examples" "${@:4}" -o "$scratch/bin/$3" $flags \
        -Wl,-rpath,"$prefix/lib" > "$scratch/log" 2>&1 || fail "does not build: $3"
}

with_pkg_config() {
    local c=${CC:-cc} cxx="${CXX:-c++} -std=c++17" own=$root/tests/install/toolkits
    mkdir "$scratch/bin"
    compile "$cxx" applist-service publish "$root/examples/publish.cpp"
    compile "$c" applist-glib names_glib "$own/names.c"
    compile "$cxx" applist-gtk gtk_launcher "$root"/examples/gtk_launcher/{main,Launcher}.cpp
    compile "$cxx" applist-qt names_qt "$own/names.cpp"
}

# A library of a toolkit is a part of the program; the partner is where the way says.
check_libraries() {
    for program in "$scratch"/bin/{names_glib,names_qt,gtk_launcher,qml_launcher/qml_launcher}; do
        [ -e "$program" ] || continue
        ldd "$program" | grep libapplist > "$scratch/log" || true
        case $way in
            static) [ ! -s "$scratch/log" ] || fail "$program has a shared library" ;;
            *) grep -qx ".*libapplist-partner.so.0 => $prefix/.*" "$scratch/log" ||
                fail "$program has no libapplist-partner.so.0" ;;
        esac
        [ "$(wc -l < "$scratch/log")" -le 1 ] || fail "$program has others besides"
    done
}

case $way in
    shared)
        with_cmake toolkits
        without_gtk
        ;;
    static) with_cmake toolkits -Dapplist_USE_STATIC_LIBS=ON ;;
    pkg-config) with_pkg_config ;;
esac
check_libraries

# The inner shell is the one that knows the bus.
# shellcheck disable=SC2016
timeout 30 dbus-run-session -- bash -euo pipefail -c '
    "$0/publish" &
    service=$!
    trap "kill $service; wait $service" EXIT
    gdbus wait --session --timeout 20 org.tessel.Local.Applist
    "$0/names_glib"
    "$0/names_qt"
' "$scratch/bin" > "$scratch/said" 2> "$scratch/log" || fail 'the programs do not work'
[ "$(< "$scratch/said")" = 'Maps
Music
Phone
Maps
Music
Phone' ] || {
    cp "$scratch/said" "$scratch/log"
    fail 'the programs said something else'
}
printf 'toolkits: %s: built, and run on a bus\n' "$way"
