// SPDX-License-Identifier: MIT

// The applications installed on this machine, as its menus show them, and news about them.
//
// They are the desktop entries of the user and of the system ($XDG_DATA_HOME, $XDG_DATA_DIRS) that
// have a name, whose program exists and that do not ask to be left out (Hidden, NoDisplay,
// OnlyShowIn, NotShowIn). An item's name is the entry's name in the user's language, its id the
// entry's desktop file id, "org.example.Maps.desktop". They are sorted by name as the user's
// language sorts, then by id.
//
// Entries appear half-written, and an upgrade takes them away for a moment. So changes are reported
// only after half a second without another one, or when they have gone on for five seconds.
//
// Threads: the thread of GLib's main loop, with the default sd-event loop inside.

#pragma once

#include <gio/gio.h>

#include <vector>

#include "apps/applistd/ItemSource.h"
#include "apps/applistd/QuietTime.h"

namespace applist::daemon {

class InstalledApplications : public ItemSource {
public:
    // Follows the applications from now on. `changed` may be empty.
    // REQUIRES: MakeFoldersWatchable's conditions, for the first one of a process.
    explicit InstalledApplications(Listener changed);
    ~InstalledApplications() override;

    std::vector<RemoteAppListItem> Read() override;
    void ReadAgain() override;

private:
    static void OnChanged(GAppInfoMonitor* monitor, gpointer self);

    void Report(std::vector<RemoteAppListItem> all);

    Listener m_changed;
    GAppInfoMonitor* m_monitor = nullptr;
    gulong m_handler = 0;
    std::vector<RemoteAppListItem> m_latest;
    QuietTime m_quiet;
};

}  // namespace applist::daemon
