// SPDX-License-Identifier: MIT

// What a header's macros and templates become in a user's source, whose warnings are stricter than
// ours. Compiled only.

#include <string>
#include <vector>

#include "AppList.h"
#include "applist/LocalAppListModel.h"
#include "common/AppListLog.h"
#include "common/ListenerList.h"
#include "ipc/IPCApplist.h"
#include "partner/RemoteAppListModel.h"

namespace user {

void WriteLines() {
    APPLIST_LOG(applist::logging::kDebug, "none");
    APPLIST_LOG(applist::logging::kDebug, "%d", 1);
    APPLIST_LOG(applist::logging::kDebug, "%d %d", 1, 2);
    APPLIST_LOG(applist::logging::kDebug, "%d %d %d", 1, 2, 3);
    APPLIST_LOG(applist::logging::kDebug, "%d %d %d %d", 1, 2, 3, 4);
    APPLIST_LOG(applist::logging::kDebug, "%d %d %d %d %d", 1, 2, 3, 4, 5);
    APPLIST_LOG(applist::logging::kDebug, "%d %d %d %d %d %d", 1, 2, 3, 4, 5, 6);
    APPLIST_LOG(applist::logging::kDebug, "%d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7);
}

class Handler {};

// Every member of the channel that the service's transport can serve.
class Channel : public IPCApplist<TesselDbusLocal, Handler> {};

void Open() {
    Channel channel;
    channel.SendNotification(1, std::string());
}

void TellAll(const std::vector<ItemChangeListener*>& all, AppListModel* list) {
    applist::ListenerList<ItemChangeListener> listeners;
    for (ItemChangeListener* each : all) listeners.Add(each);
    listeners.ForEach([list](ItemChangeListener* each) { each->ItemChanged(list); });
    for (ItemChangeListener* each : all) listeners.Remove(each);
}

}  // namespace user
