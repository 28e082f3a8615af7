// SPDX-License-Identifier: MIT

// An integrator's program: publishes a list of its own over a transport of its own, then plays the
// partner. Says what went wrong and fails, or says nothing.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/LocalAppListModel.h"
#include "common/AppListRemoteControl.h"

extern int g_logLines;

namespace {

int g_failures = 0;

void Expect(const std::string& expected, const std::string& actual, const char* what) {
    if (expected == actual) return;
    std::fprintf(stderr, "%s: expected \"%s\", got \"%s\"\n", what, expected.c_str(),
                 actual.c_str());
    ++g_failures;
}

class OwnModel : public AppListModel {
public:
    void SetSelection(AppListItem* selection) override {
        for (AppListItem* item : m_items) {
            if (item->GetUnigueId() == selection->GetUnigueId()) m_selected = item;
        }
        if (m_onSelection != nullptr) m_onSelection->ItemSelected(this);
    }
    AppListItem* GetSelection() override { return m_selected; }
    std::vector<AppListItem*> GetAllItems() override { return m_items; }
    void SetClicked(AppListItem*) override {}
    void RemoveAllItems() override { Keep({}); }
    void AddItems(const std::vector<AppListItem*>& items) override {
        for (AppListItem* item : items) AddItemAtEnd(item);
    }
    void AddItemAtEnd(AppListItem* item) override { m_items.push_back(item); }
    void RemoveItem(AppListItem* item) override {
        std::vector<AppListItem*> kept = m_items;
        kept.erase(std::remove(kept.begin(), kept.end(), item), kept.end());
        Keep(kept);
    }
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override {
        std::vector<AppListItem*> kept = m_items;
        std::replace(kept.begin(), kept.end(), oldItem, newItem);
        Keep(kept);
    }
    int GetItemsCount() override { return static_cast<int>(m_items.size()); }
    void AddItemSelectionListener(ItemSelectionListener* listener) override {
        m_onSelection = listener;
    }
    void RemoveItemSelectionListener(ItemSelectionListener*) override { m_onSelection = nullptr; }
    void AddItemChangeListener(ItemChangeListener*) override {}
    void RemoveItemChangeListener(ItemChangeListener*) override {}
    void AddItemClickedListener(ItemClickListener*) override {}
    void RemoveItemClickedListener(ItemClickListener*) override {}

private:
    void Keep(const std::vector<AppListItem*>& items) {
        m_items = items;
        if (std::find(items.begin(), items.end(), m_selected) == items.end()) m_selected = &m_none;
    }

    std::vector<AppListItem*> m_items;
    RemoteAppListItem m_none;
    AppListItem* m_selected = &m_none;
    ItemSelectionListener* m_onSelection = nullptr;
};

std::string Call(int id, const std::string& payload) {
    std::vector<char> message(payload.begin(), payload.end());
    const char* const trailer = reinterpret_cast<const char*>(&id);
    message.insert(message.end(), trailer, trailer + sizeof(id));
    const std::vector<char> reply = TesselDbusLocal::Endpoint()->HandleMessage(message);
    return std::string(reply.begin(), reply.end());
}

void DriveTheService() {
    Expect("Applist", TesselDbusLocal::Endpoint()->Name(), "name of the endpoint");
    Call(APPLIST_ADD_ITEMS_FNC, "Maps\tmaps\nMail\tmail\n");
    Call(APPLIST_ADD_ITEM_AT_END_FNC, "Music\tmusic\n");
    Expect("Maps\tmaps\nMail\tmail\nMusic\tmusic\n", Call(APPLIST_GET_ALL_ITEMS_FNC, ""),
           "list after three items were added");

    Call(APPLIST_SET_SELECTION_FNC, "\tmail\n");
    Expect("Mail\tmail\n", Call(APPLIST_GET_SELECTION_FNC, ""), "selection");
    Call(APPLIST_MODIFY_ITEM_FNC, "\tmaps\nAtlas\tatlas\n");
    Call(APPLIST_REMOVE_ITEM_FNC, "\tmail\n");
    Expect("Atlas\tatlas\nMusic\tmusic\n", Call(APPLIST_GET_ALL_ITEMS_FNC, ""),
           "list after a replacement and a removal");

    TesselDbusLocal::Endpoint()->HandleConnectionReady(true, "partner");
    Expect("2 to everyone; 4 to partner; ", TesselDbusLocal::Endpoint()->Sent(), "notifications");
}

}  // namespace

int main() {
    OwnModel model;
    {
        LocalAppListModel service(&model);
        DriveTheService();
    }
    if (TesselDbusLocal::Endpoint() != nullptr) Expect("gone", "open", "endpoint at the end");
    if (g_logLines == 0) Expect("some", "none", "lines in the own log");
    return g_failures == 0 ? 0 : 1;
}
