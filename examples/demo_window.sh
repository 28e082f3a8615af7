#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# demo_window.sh FOLDER: shows this machine's applications in a window, until that is closed. It is
# the one of FOLDER/examples/qml_launcher, of a list that FOLDER/applistd publishes on a private bus.
set -euo pipefail

bin=$(realpath -- "$1")

[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] || {
    printf 'demo: there is no display; run this in a desktop session, or set DISPLAY\n' >&2
    exit 1
}

# shellcheck disable=SC2016 # the other shell's
exec dbus-run-session -- bash -c '
    "$1/applistd" &
    trap "kill $!; wait" EXIT
    "$1/examples/qml_launcher"
' demo "$bin"
