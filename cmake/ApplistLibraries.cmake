# The three targets that an integrator links: applist::service, applist::transport, applist::log.
# Leave the open transport or the open log out, and supply your own.

set(applist_roots ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)

# Makes a copy of the service. The folders named after it go ahead of the project's own include
# roots, so that an ipc/TesselDbusLocal.h in one of them takes the place of the open transport's.
function(applist_add_service name)
    add_library(${name} STATIC
        ${PROJECT_SOURCE_DIR}/src/applist/LocalAppListModel.cpp
        ${PROJECT_SOURCE_DIR}/src/applist/RemoteAppListItem.cpp)
    target_include_directories(${name} PUBLIC ${ARGN} ${applist_roots})
    target_compile_features(${name} PUBLIC cxx_std_17)
endfunction()

add_library(applist_common STATIC ${PROJECT_SOURCE_DIR}/src/common/PrintableText.cpp)
target_include_directories(applist_common PUBLIC ${applist_roots})
target_compile_features(applist_common PUBLIC cxx_std_17)

if(APPLIST_OPEN_LOG OR APPLIST_OPEN_TRANSPORT)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(SYSTEMD REQUIRED IMPORTED_TARGET libsystemd>=252)
endif()

if(APPLIST_OPEN_LOG)
    add_library(applist_log STATIC ${PROJECT_SOURCE_DIR}/src/platform/LinuxLog.cpp)
    add_library(applist::log ALIAS applist_log)
    target_include_directories(applist_log PUBLIC ${applist_roots})
    target_compile_features(applist_log PUBLIC cxx_std_17)
    target_compile_definitions(applist_log PRIVATE _FILE_OFFSET_BITS=64)
    target_link_libraries(applist_log PUBLIC applist_common PRIVATE PkgConfig::SYSTEMD)
endif()

if(APPLIST_OPEN_TRANSPORT)
    add_library(applist_transport STATIC
        ${PROJECT_SOURCE_DIR}/src/platform/BusConnection.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/BusLink.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/BusSelection.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/Endpoint.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/NotificationQueue.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/Outbox.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/PartnerTracker.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/SealedMemfd.cpp
        ${PROJECT_SOURCE_DIR}/src/platform/TesselDbusLocal.cpp)
    add_library(applist::transport ALIAS applist_transport)
    target_include_directories(applist_transport PUBLIC ${applist_roots})
    target_compile_features(applist_transport PUBLIC cxx_std_17)
    target_compile_definitions(applist_transport PRIVATE _FILE_OFFSET_BITS=64)
    target_link_libraries(applist_transport PUBLIC applist_common PRIVATE PkgConfig::SYSTEMD)
    applist_add_service(applist_service)
    target_link_libraries(applist_service PUBLIC applist_transport)
elseif(APPLIST_TRANSPORT_INCLUDE_DIR)
    applist_add_service(applist_service ${APPLIST_TRANSPORT_INCLUDE_DIR})
else()
    message(FATAL_ERROR "APPLIST_OPEN_TRANSPORT is OFF: set APPLIST_TRANSPORT_INCLUDE_DIR to the "
                        "folder that holds your own ipc/TesselDbusLocal.h")
endif()
add_library(applist::service ALIAS applist_service)

# The partner's side: a replica of the service's list. The folders named after it go ahead, for a
# partner/TesselDbusRemote.h of one's own.
function(applist_add_partner name)
    add_library(${name} STATIC
        ${PROJECT_SOURCE_DIR}/src/applist/RemoteAppListItem.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/ItemLine.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/RemoteAppListModel.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/Replica.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/ReplicaItem.cpp)
    target_include_directories(${name} PUBLIC ${ARGN} ${applist_roots})
    target_compile_features(${name} PUBLIC cxx_std_17)
endfunction()

if(APPLIST_OPEN_TRANSPORT)
    add_library(applist_remote_transport STATIC
        ${PROJECT_SOURCE_DIR}/src/partner/RemoteCalls.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/RemoteLink.cpp
        ${PROJECT_SOURCE_DIR}/src/partner/TesselDbusRemote.cpp)
    target_compile_definitions(applist_remote_transport PRIVATE _FILE_OFFSET_BITS=64)
    target_link_libraries(applist_remote_transport PUBLIC applist_transport
                          PRIVATE PkgConfig::SYSTEMD)
    applist_add_partner(applist_partner)
    target_link_libraries(applist_partner PUBLIC applist_remote_transport)
    add_library(applist::partner ALIAS applist_partner)
endif()
