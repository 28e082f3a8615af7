# SPDX-License-Identifier: MIT

# What a user links: applist::service or applist::partner, and applist::log. The first two bring the
# open transport along. Leave the open transport or the open log out, and supply your own.
#
# Targets without an alias (applist_common, applist_bus, …) are parts of those: nobody
# links them by name but the programs and tests of this project. Variables in the cache begin with
# APPLIST_, because the cache is shared with whoever takes this project in.

set(applist_roots ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)

# An archive of some of the sources under src/, with what every user's build needs and no more: the
# warnings, the build type and the standard are set for our own build alone, in CMakeLists.txt.
# Whoever takes this project in calls these functions from a project, and a scope, of their own.
function(applist_add_library name)
    list(TRANSFORM ARGN PREPEND ${applist_SOURCE_DIR}/src/)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PUBLIC ${applist_SOURCE_DIR}/include
                                              ${applist_SOURCE_DIR}/src)
    target_compile_features(${name} PUBLIC cxx_std_17)
    target_compile_definitions(${name} PRIVATE _FILE_OFFSET_BITS=64)
    # A plug-in may be made of them, and what is not marked APPLIST_EXPORT is nobody's business.
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON
                                             CXX_VISIBILITY_PRESET hidden
                                             VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# What the service, the partner and both ends of the transport share.
applist_add_library(applist_common
    applist/RemoteAppListItem.cpp
    applist/version.cpp
    common/Guarded.cpp
    common/ItemText.cpp
    common/ItemTextWriter.cpp
    common/Joined.cpp
    common/PrintableText.cpp
    common/ZeroWidth.cpp)

# Adds the service as the target `name`. The folders named after it go ahead of the project's own
# include roots, so that an ipc/TesselDbusLocal.h in one of them takes the place of the open
# transport's.
function(applist_add_service name)
    applist_add_library(${name} applist/LocalAppListModel.cpp applist/ServiceLimits.cpp)
    target_include_directories(${name} BEFORE PUBLIC ${ARGN})
    target_link_libraries(${name} PUBLIC applist_common)
endfunction()

# Adds the partner's model as the target `name`. A remote/TesselDbusRemote.h in one of the folders
# named after it takes the place of the open transport's.
function(applist_add_partner name)
    applist_add_library(${name}
        partner/FailedWrite.cpp
        partner/FetchPlan.cpp
        partner/Fetcher.cpp
        partner/Follower.cpp
        partner/Pace.cpp
        partner/Pairing.cpp
        partner/RemoteAppListModel.cpp
        partner/Replica.cpp
        partner/ReplicaItem.cpp
        partner/RowChanges.cpp
        partner/RowMoves.cpp)
    target_include_directories(${name} BEFORE PUBLIC ${ARGN})
    target_link_libraries(${name} PUBLIC applist_common)
endfunction()

# The partner's end of a transport, as far as it knows no bus.
applist_add_library(applist_remote_core
    remote/CallQueue.cpp
    remote/EventSeam.cpp
    remote/LossWatch.cpp
    remote/RemoteErrors.cpp
    remote/RemoteSession.cpp)
target_link_libraries(applist_remote_core PUBLIC applist_common)

# Signals are held back from one thread, and the C library has a library of its own for that before
# glibc 2.32. Not by find_package(Threads), which leaves its findings in the cache.
set(applist_threads -pthread)

# The oldest that has all that is called.
set(applist_systemd_version 247)
if(APPLIST_OPEN_TRANSPORT)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(APPLIST_SYSTEMD IMPORTED_TARGET libsystemd>=${applist_systemd_version})
    if(NOT APPLIST_SYSTEMD_FOUND)
        message(FATAL_ERROR "The open transport needs libsystemd ${applist_systemd_version} and its "
                            "headers: install libsystemd-dev, or set APPLIST_OPEN_TRANSPORT to OFF")
    endif()
endif()

if(APPLIST_OPEN_LOG)
    applist_add_library(applist_log
        platform/FoldedLines.cpp
        platform/LinuxLog.cpp
        platform/LogSinks.cpp
        platform/WithoutWaiting.cpp)
    target_link_libraries(applist_log PUBLIC applist_common ${applist_threads})
    add_library(applist::log ALIAS applist_log)
endif()

if(APPLIST_OPEN_TRANSPORT)
    # What both ends of the transport do with sd-bus.
    applist_add_library(applist_bus
        bus/BusLink.cpp
        bus/BusProbe.cpp
        bus/BusSelection.cpp
        bus/ChannelEnd.cpp
        bus/NotificationQueue.cpp
        bus/OwnedFd.cpp
        bus/Outbox.cpp
        bus/SealedMemfd.cpp
        bus/TransportLimits.cpp)
    target_link_libraries(applist_bus PUBLIC applist_common PRIVATE PkgConfig::APPLIST_SYSTEMD)

    # The service's end, and the service over it.
    applist_add_library(applist_transport
        platform/CallMessage.cpp
        platform/CallTurns.cpp
        platform/Channels.cpp
        platform/Endpoint.cpp
        platform/OwnName.cpp
        platform/PartnerTracker.cpp
        platform/ReplyRations.cpp
        platform/TesselDbusLocal.cpp
        platform/Wire.cpp)
    target_link_libraries(applist_transport PUBLIC applist_bus PkgConfig::APPLIST_SYSTEMD)
    add_library(applist::transport ALIAS applist_transport)
    applist_add_service(applist_service)
    target_link_libraries(applist_service PUBLIC applist_transport)

    # The partner's end, and the partner over it.
    applist_add_library(applist_remote
        remote/BusCalls.cpp
        remote/Carrier.cpp
        remote/RemoteLink.cpp
        remote/ServiceChannel.cpp
        remote/ServiceOwner.cpp
        remote/TesselDbusRemote.cpp
        remote/Way.cpp)
    target_link_libraries(applist_remote PUBLIC applist_remote_core applist_bus
                                                PkgConfig::APPLIST_SYSTEMD ${applist_threads})
    applist_add_partner(applist_partner)
    target_link_libraries(applist_partner PUBLIC applist_remote)
    add_library(applist::partner ALIAS applist_partner)
elseif(APPLIST_TRANSPORT_INCLUDE_DIR)
    applist_add_service(applist_service ${APPLIST_TRANSPORT_INCLUDE_DIR})
else()
    message(FATAL_ERROR "APPLIST_OPEN_TRANSPORT is OFF: set APPLIST_TRANSPORT_INCLUDE_DIR to the "
                        "folder that holds your own ipc/TesselDbusLocal.h")
endif()
add_library(applist::service ALIAS applist_service)
