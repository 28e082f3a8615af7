#!/usr/bin/env bash
# SPDX-License-Identifier: MIT

# Unpacks what the libraries need of Debian's packages for 32-bit ARM into a folder, from where this
# machine gets its own packages, and without a word to dpkg.
#
# usage: armhf_sysroot.sh FOLDER

set -euo pipefail

readonly sysroot=$1
readonly packages=(libsystemd-dev libsystemd0 libcap2 libgcrypt20 libgpg-error0 liblz4-1 liblzma5 libzstd1)

[ ! -e "$sysroot/complete" ] || exit 0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir -p "$work"/state/lists/partial "$work"/cache/archives/partial "$sysroot"
: > "$work/status"
# Sandboxed, apt would have to enter a folder that is ours alone.
options=(-q -o APT::Architecture=armhf -o APT::Architectures=armhf -o APT::Sandbox::User=root
    -o Dir::State="$work/state" -o Dir::State::status="$work/status" -o Dir::Cache="$work/cache")
# A mirror may lack an index for a while; whether the packages can be had is what counts.
apt-get "${options[@]}" update || true
cd "$work"
apt-get "${options[@]}" download "${packages[@]}"
for package in ./*.deb; do dpkg-deb -x "$package" "$sysroot"; done
touch "$sysroot/complete"
