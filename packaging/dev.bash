# SPDX-License-Identifier: MIT

# Read by ./dev, whose functions this uses: building packages, and trying them.

# shellcheck shell=bash

# export_sources FOLDER: what is tracked, as it stands here, with debian/ where Debian wants it. Who
# may read or write it is none of the package's business.
export_sources() (
    umask 022
    mkdir -p "$1"
    git ls-files -z | tar --create --null --files-from=- --mode=go=u-w |
        tar --extract --directory "$1"
    cp -r "$1/packaging/debian" "$1/debian"
)

# build_debian FOLDER: source and binary packages in FOLDER, as anybody, wherever that is.
build_debian() {
    local log=$1.log
    export_sources "$1/applist"
    say "building in $1"
    # What a developer has set for the usual builds is none of the package's business.
    (cd "$1/applist" && DEB_BUILD_OPTIONS=${DEB_BUILD_OPTIONS:-parallel=$(nproc)} \
        env -u CFLAGS -u CXXFLAGS -u LDFLAGS dpkg-buildpackage -us -uc -F) > "$log" 2>&1 || {
        grep -v '^\[' "$log" | tail -n 40 >&2  # without the command lines of the compiler
        fail "dpkg-buildpackage failed, see $log"
    }
    rm -r "$1/applist"
}

# The files that hold no time and no name of a machine, which .buildinfo and .changes do.
packages_of() { (cd "$1" && sha256sum ./*.deb ./*.dsc ./*.tar.xz); }

check_debian() {
    say "lintian"
    # Root may run it, too: then it says so in a line of its own.
    lintian --fail-on error,warning,override --allow-root "$1"/*.changes ||
        fail "lintian is not content"
    say "lintian is content"
}

package_debian() {
    local out=build/packages
    rm -rf "$out"
    mkdir -p "$out/again"
    build_debian "$out"
    check_debian "$out"
    # At another time, in another folder, with another umask and another language.
    (umask 0002 && LC_ALL=C.UTF-8 TZ=Asia/Tokyo build_debian "$out/again")
    diff <(packages_of "$out") <(packages_of "$out/again") >&2 || fail "built twice, it differs"
    rm -r "$out/again" "$out/again.log"
    say "built twice to the same bytes; the packages are in $out"
}

package() {
    case ${1:-} in
        '') package_debian ;;
        rpm) packaging/rpm/check build/packages/rpm ;;
        --try)
            [ $# -ge 2 ] || fail "--try needs a release of Debian, such as bookworm"
            as_root packaging/debian/try-in-chroot "$2" build/packages
            ;;
        *) fail "package takes nothing, rpm, or --try SUITE" ;;
    esac
}
