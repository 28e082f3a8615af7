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
// Threads: the thread of GLib's main loop. Lifetime: reports nothing after its destruction.

#pragma once

#include <gio/gio.h>

#include <functional>
#include <vector>

#include "applist/RemoteAppListItem.h"

namespace applist::daemon {

class InstalledApplications {
public:
    // Is given all applications, whether or not they differ from the last ones. What it throws is
    // logged.
    using Listener = std::function<void(std::vector<RemoteAppListItem> all)>;

    // Follows the applications from now on. `changed` may be empty.
    // REQUIRES: MakeFoldersWatchable's conditions, for the first one of a process.
    explicit InstalledApplications(Listener changed);
    ~InstalledApplications();

    InstalledApplications(const InstalledApplications&) = delete;
    InstalledApplications& operator=(const InstalledApplications&) = delete;

    // Returns all applications as they are now.
    std::vector<RemoteAppListItem> Read() const;

private:
    static void OnChanged(GAppInfoMonitor* monitor, gpointer self);
    static gboolean OnQuiet(gpointer self);

    void WaitForQuiet();
    void StopWaiting();

    Listener m_changed;
    GAppInfoMonitor* m_monitor = nullptr;
    gulong m_handler = 0;
    std::vector<RemoteAppListItem> m_latest;
    guint m_timer = 0;         // fires when it has been quiet; 0 when nothing has changed
    gint64 m_patienceEnd = 0;  // when to report at the latest, in ms on the monotonic clock
};

}  // namespace applist::daemon
