// SPDX-License-Identifier: MIT

#include "apps/applistd/desktop/InstalledApplications.h"

#include <gio/gdesktopappinfo.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "apps/applistd/desktop/WatchableFolders.h"
#include "common/AppListLog.h"
#include "common/Guarded.h"

namespace applist::daemon {

namespace {

struct AppInfosDelete {
    void operator()(GList* infos) const { g_list_free_full(infos, g_object_unref); }
};
using AppInfos = std::unique_ptr<GList, AppInfosDelete>;

struct Sortable {
    std::string key;
    std::string name;
    std::string id;

    bool operator<(const Sortable& other) const {
        return std::tie(key, id) < std::tie(other.key, other.id);
    }
};

std::string CollateKey(const std::string& name) {
    const std::unique_ptr<char, decltype(&g_free)> key(
        g_utf8_collate_key(name.data(), static_cast<gssize>(name.size())), &g_free);
    // There is no key for a name that is not UTF-8; its bytes sort well enough.
    return key == nullptr ? name : key.get();
}

std::string OrEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

// An entry without a readable name is broken or only half written. GIO would call it "Unnamed".
bool HasName(GAppInfo* info) {
    const std::unique_ptr<char, decltype(&g_free)> name(
        g_desktop_app_info_get_string(G_DESKTOP_APP_INFO(info), G_KEY_FILE_DESKTOP_KEY_NAME),
        &g_free);
    return name != nullptr;
}

}  // namespace

InstalledApplications::InstalledApplications(Listener changed)
    : m_changed(std::move(changed)), m_quiet([this] { Report(std::move(m_latest)); }) {
    MakeFoldersWatchable();
    m_monitor = g_app_info_monitor_get();
    m_handler = g_signal_connect(m_monitor, "changed", G_CALLBACK(&OnChanged), this);
}

InstalledApplications::~InstalledApplications() {
    g_signal_handler_disconnect(m_monitor, m_handler);
    g_object_unref(m_monitor);
}

std::vector<RemoteAppListItem> InstalledApplications::Read() {
    const AppInfos infos(g_app_info_get_all());
    std::vector<Sortable> found;
    for (const GList* at = infos.get(); at != nullptr; at = at->next) {
        GAppInfo* const info = G_APP_INFO(at->data);
        if (!g_app_info_should_show(info) || !HasName(info)) continue;
        const std::string name = OrEmpty(g_app_info_get_display_name(info));
        found.push_back({CollateKey(name), name, OrEmpty(g_app_info_get_id(info))});
    }
    // GIO gives them in no particular order.
    std::sort(found.begin(), found.end());

    std::vector<RemoteAppListItem> items;
    items.reserve(found.size());
    for (Sortable& each : found) items.emplace_back(std::move(each.name), std::move(each.id));
    return items;
}

void InstalledApplications::ReadAgain() {
    m_quiet.Stop();
    Guarded("reading the installed applications", [this] { Report(Read()); });
}

void InstalledApplications::OnChanged(GAppInfoMonitor*, gpointer self) {
    auto* const applications = static_cast<InstalledApplications*>(self);
    Guarded("reading the installed applications", [applications] {
        // Read now, not only when it is quiet: the monitor reports nothing more until somebody has
        // read the applications again.
        applications->m_latest = applications->Read();
        applications->m_quiet.Restart();
    });
}

void InstalledApplications::Report(std::vector<RemoteAppListItem> all) {
    const std::size_t count = all.size();
    if (m_changed) m_changed(std::move(all));
    APPLIST_LOG(logging::kDebug, "%zu applications are installed now", count);
}

}  // namespace applist::daemon
