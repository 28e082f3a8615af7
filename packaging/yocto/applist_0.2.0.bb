# SPDX-License-Identifier: MIT

# Not built: there is no bitbake where applist is developed. It was read through against the
# documentation of the classes that it inherits. cli11 and nlohmann-json are in meta-oe.
#
# The source is an archive beside this file, in a folder "files": git archive
# --prefix=applist-0.2.0/ --output=applist-0.2.0.tar.gz HEAD

SUMMARY = "List of applications on D-Bus"
DESCRIPTION = "Publishes a device's list of applications on D-Bus, so that another process can \
show and edit it: two libraries, a daemon and a command-line tool."
SECTION = "libs"
LICENSE = "MIT"
LIC_FILES_CHKSUM = "file://LICENSE;md5=fa32fce287483d62a04aae3156e6498c"

SRC_URI = "file://${BP}.tar.gz"

DEPENDS = "cli11 nlohmann-json systemd"

inherit cmake features_check pkgconfig systemd useradd

REQUIRED_DISTRO_FEATURES = "systemd"

# scdoc is in no layer that everybody has.
PACKAGECONFIG ??= "desktop"
PACKAGECONFIG[man] = "-DAPPLIST_MAN=ON,-DAPPLIST_MAN=OFF,scdoc-native"
PACKAGECONFIG[gtk] = "-DAPPLIST_GTK=ON,-DAPPLIST_GTK=OFF,gtk4"
# Qt's classes of CMake come from meta-qt6: inherit qt6-cmake as well in a .bbappend.
PACKAGECONFIG[qt] = "-DAPPLIST_QT=ON,-DAPPLIST_QT=OFF,qtbase"
# Without it applistd publishes files alone, and the image needs no GLib for it.
PACKAGECONFIG[desktop] = "-DAPPLIST_DESKTOP_ENTRIES=ON,-DAPPLIST_DESKTOP_ENTRIES=OFF,glib-2.0"

EXTRA_OECMAKE = "\
    -DAPPLIST_EXAMPLES=OFF \
    -DAPPLIST_SYSTEM_UNIT_DIR=${systemd_system_unitdir} \
    -DAPPLIST_USER_UNIT_DIR=${systemd_user_unitdir} \
    -DAPPLIST_SYSUSERS_DIR=${nonarch_libdir}/sysusers.d \
"

PACKAGES =+ "libapplist-service libapplist-partner applistd applistctl"

FILES:libapplist-service = "${libdir}/libapplist-service.so.*"
FILES:libapplist-partner = "${libdir}/libapplist-partner.so.*"
FILES:applistctl = "\
    ${bindir}/applistctl \
    ${datadir}/bash-completion/completions/applistctl \
    ${datadir}/fish/vendor_completions.d/applistctl.fish \
    ${datadir}/zsh/site-functions/_applistctl \
"
FILES:applistd = "\
    ${bindir}/applistd \
    ${datadir}/bash-completion/completions/applistd \
    ${datadir}/fish/vendor_completions.d/applistd.fish \
    ${datadir}/zsh/site-functions/_applistd \
    ${libexecdir}/applist \
    ${datadir}/dbus-1 \
    ${nonarch_libdir}/sysusers.d \
    ${systemd_system_unitdir} \
    ${systemd_user_unitdir} \
"
FILES:${PN}-dev += "${libdir}/cmake"

# The package of the recipe's own name brings both programs.
ALLOW_EMPTY:${PN} = "1"
RDEPENDS:${PN} = "applistctl applistd"
RDEPENDS:${PN}-dev = "libapplist-partner libapplist-service"

SYSTEMD_PACKAGES = "applistd"
SYSTEMD_SERVICE:applistd = "applistd.service"

# With a group of the same name, whose members may call the daemon.
USERADD_PACKAGES = "applistd"
USERADD_PARAM:applistd = "--system --user-group --no-create-home --home-dir / \
    --shell /sbin/nologin applist"
