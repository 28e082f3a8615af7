# SPDX-License-Identifier: MIT

# What a user includes; the other headers of src/ are the project's own and are not installed.
set(applist_public_headers
    AppList.h
    applist/ApplistItemComparator.h
    applist/LocalAppListModel.h
    applist/RemoteAppListItem.h
    applist/ServiceLimits.h
    applist/version.h
    bus/BusSelection.h
    bus/TransportError.h
    bus/TransportLimits.h
    common/AppListLog.h
    common/AppListRemoteControl.h
    common/Export.h
    common/ListenerList.h
    common/PrintableText.h
    ipc/IPCApplist.h
    ipc/TesselDbusLocal.h
    partner/FailedWrite.h
    partner/RemoteAppListModel.h
    partner/RowChange.h
    platform/LinuxLog.h
    platform/PlatformLog.h
    remote/RemoteError.h
    remote/RemoteReply.h
    remote/TesselDbusRemote.h)

# Those of the adapters, which take their toolkits' headers.
set(applist_glib_loop_headers adapters/glib/Loop.h)
set(applist_glib_headers adapters/glib/ApplistItem.h adapters/glib/ApplistModel.h)
set(applist_gtk_headers adapters/gtk/SelectionFollower.h)
set(applist_qt_headers adapters/qt/ListModel.h adapters/qt/Qml.h adapters/qt/SdEventDriver.h)
