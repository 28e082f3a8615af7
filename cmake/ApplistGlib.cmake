# SPDX-License-Identifier: MIT

# applist::glib_loop, which lets a program's GLib main loop run a service or a partner; applist::glib,
# the list as a GListModel; and applist::gtk, what takes GTK besides.

set(APPLIST_GTK AUTO CACHE STRING
    "Build applist::glib and applist::gtk: AUTO (those whose libraries are there), ON or OFF")
set_property(CACHE APPLIST_GTK PROPERTY STRINGS AUTO ON OFF)

if(APPLIST_GTK STREQUAL "ON" AND NOT APPLIST_OPEN_TRANSPORT)
    message(FATAL_ERROR "APPLIST_GTK needs the open transport: set one of them to OFF")
endif()
if(NOT APPLIST_OPEN_TRANSPORT)
    return()
endif()

# One source, which is there wherever GLib is.
pkg_check_modules(APPLIST_GLIB_LOOP IMPORTED_TARGET glib-2.0)
if(APPLIST_GLIB_LOOP_FOUND)
    applist_add_adapter(glib_loop adapters/glib/Loop.cpp)
    target_link_libraries(applist_glib_loop PUBLIC PkgConfig::APPLIST_GLIB_LOOP
                                            PRIVATE PkgConfig::APPLIST_SYSTEMD)
endif()

if(NOT APPLIST_GTK)
    return()
endif()
pkg_check_modules(APPLIST_GLIB IMPORTED_TARGET gio-2.0>=2.70)
pkg_check_modules(APPLIST_GTK4 IMPORTED_TARGET gtk4>=4.8)
if(APPLIST_GTK STREQUAL "ON" AND NOT (APPLIST_GLIB_FOUND AND APPLIST_GTK4_FOUND))
    message(FATAL_ERROR "APPLIST_GTK needs GTK 4.8 and its headers: install libgtk-4-dev, or set "
                        "APPLIST_GTK to OFF")
endif()
if(APPLIST_GLIB_FOUND)
    applist_add_adapter(glib
        adapters/glib/ApplistItem.cpp
        adapters/glib/ApplistModel.cpp
        adapters/glib/ListRows.cpp
        adapters/glib/ModelCore.cpp)
    target_link_libraries(applist_glib PUBLIC applist_glib_loop PkgConfig::APPLIST_GLIB)
    applist_bind_to_partner(glib)
endif()
if(APPLIST_GLIB_FOUND AND APPLIST_GTK4_FOUND)
    applist_add_adapter(gtk adapters/gtk/SelectionFollower.cpp)
    target_link_libraries(applist_gtk PUBLIC applist_glib PkgConfig::APPLIST_GTK4)
endif()
