# SPDX-License-Identifier: MIT

# applist::qt: the list as a model of Qt's, and the sd-event loop run by Qt's.

# Looking for Qt leaves much in the cache, which is shared with whoever takes this project in.
set(applist_qt_default AUTO)
if(NOT PROJECT_IS_TOP_LEVEL)
    set(applist_qt_default OFF)
endif()
set(APPLIST_QT ${applist_qt_default} CACHE STRING
    "Build applist::qt, which needs Qt 6: AUTO (when it is there), ON or OFF")
set_property(CACHE APPLIST_QT PROPERTY STRINGS AUTO ON OFF)

set(applist_qt_found OFF)
if(APPLIST_QT AND APPLIST_OPEN_TRANSPORT)
    find_package(Qt6 6.4 QUIET COMPONENTS Core)
    set(applist_qt_found ${Qt6_FOUND})
endif()
if(applist_qt_found)
    applist_add_adapter(qt adapters/qt/ListModel.cpp adapters/qt/SdEventDriver.cpp)
    # Its header is also for programs that have no `signals` and `slots`.
    target_compile_definitions(applist_qt PRIVATE QT_NO_KEYWORDS)
    target_link_libraries(applist_qt PUBLIC Qt6::Core)
    applist_bind_to_partner(qt)
    set_target_properties(applist_qt PROPERTIES AUTOMOC ON)
elseif(APPLIST_QT STREQUAL "ON")
    message(FATAL_ERROR "APPLIST_QT needs the open transport, and Qt 6.4 and its headers: install "
                        "qt6-base-dev, or set APPLIST_QT to OFF")
endif()
