#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Unpacks Debian's packages for 32-bit ARM, and all that they need, into a folder: from where this
# machine gets its own packages, of the same release, and without a word to dpkg.
#
# usage: sysroot.sh FOLDER PACKAGE…

set -euo pipefail

readonly sysroot=$1
shift
# shellcheck source=/dev/null
stamp="$(. /etc/os-release && printf '%s' "$PRETTY_NAME"): $*"
readonly stamp

[ "$(cat "$sysroot/packages" 2> /dev/null)" != "$stamp" ] || exit 0
rm -rf "${sysroot:?}"
mkdir -p "$sysroot"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work"/state/lists/partial "$work"/cache/archives/partial
: > "$work/status"
# Sandboxed, apt would have to enter a folder that is ours alone.
options=(-q -o APT::Architecture=armhf -o APT::Architectures=armhf -o APT::Sandbox::User=root
    -o Dir::State="$work/state" -o Dir::State::status="$work/status" -o Dir::Cache="$work/cache")
# A mirror may lack an index for a while; whether the packages can be had is what counts.
apt-get "${options[@]}" update || true
apt-get "${options[@]}" -y --no-install-recommends --download-only install "$@"
for package in "$work"/cache/archives/*.deb; do dpkg-deb -x "$package" "$sysroot"; done

# One folder of libraries, as on every machine that these packages were installed on. Older ones
# still unpack into /lib.
if [ ! -L "$sysroot/lib" ]; then
    mkdir -p "$sysroot/lib"
    cp -a "$sysroot/lib/." "$sysroot/usr/lib/"
    rm -r "${sysroot:?}/lib"
    ln -s usr/lib "$sysroot/lib"
fi
# A link to the root of the machine means that of this folder.
find "$sysroot" -type l -lname '/*' | while read -r link; do
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$sysroot$(readlink "$link")")" "$link"
done
printf '%s' "$stamp" > "$sysroot/packages"
