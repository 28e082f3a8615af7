# SPDX-License-Identifier: MIT

# The list on a GTK screen: applist::glib, a GListModel of it; applist::gtk, what takes GTK besides;
# and applist::glib_loop, which lets any program's GLib main loop run a service or a partner.

set(APPLIST_GTK AUTO CACHE STRING
    "Build applist::glib and applist::gtk: AUTO (those whose libraries are there), ON or OFF")
set_property(CACHE APPLIST_GTK PROPERTY STRINGS AUTO ON OFF)

if(APPLIST_GTK STREQUAL "ON" AND NOT APPLIST_OPEN_TRANSPORT)
    message(FATAL_ERROR "APPLIST_GTK needs the open transport: set one of them to OFF")
endif()
if(NOT APPLIST_GTK OR NOT APPLIST_OPEN_TRANSPORT)
    return()
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(APPLIST_GLIB IMPORTED_TARGET gio-2.0>=2.70)
pkg_check_modules(APPLIST_GTK4 IMPORTED_TARGET gtk4>=4.8)
if(APPLIST_GTK STREQUAL "ON" AND NOT (APPLIST_GLIB_FOUND AND APPLIST_GTK4_FOUND))
    message(FATAL_ERROR "APPLIST_GTK needs GTK 4.8 and its headers: install libgtk-4-dev, or set "
                        "APPLIST_GTK to OFF")
endif()

# Whoever takes this project in builds of these only what is linked.
function(applist_add_adapter name)
    applist_add_library(applist_${name} ${ARGN})
    if(NOT applist_IS_TOP_LEVEL)
        set_target_properties(applist_${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
    add_library(applist::${name} ALIAS applist_${name})
endfunction()

if(APPLIST_GLIB_FOUND)
    applist_add_adapter(glib_loop adapters/glib/Loop.cpp)
    target_link_libraries(applist_glib_loop PUBLIC PkgConfig::APPLIST_GLIB
                                            PRIVATE PkgConfig::APPLIST_SYSTEMD)
    applist_add_adapter(glib
        adapters/glib/ApplistItem.cpp
        adapters/glib/ApplistModel.cpp
        adapters/glib/ListRows.cpp
        adapters/glib/ModelCore.cpp)
    target_link_libraries(applist_glib PUBLIC applist_glib_loop applist_partner)
    # The linker reads archives in order, and the log is to be the last. A PlatformLogPrint of the
    # program's own comes first, and takes its place.
    if(APPLIST_OPEN_LOG)
        target_link_libraries(applist_glib PUBLIC applist_log)
    endif()
endif()
if(APPLIST_GLIB_FOUND AND APPLIST_GTK4_FOUND)
    applist_add_adapter(gtk adapters/gtk/SelectionFollower.cpp)
    target_link_libraries(applist_gtk PUBLIC applist_glib PkgConfig::APPLIST_GTK4)
endif()
