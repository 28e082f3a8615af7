// SPDX-License-Identifier: MIT

// An application list as it should be: an operation that throws has changed nothing, and one that
// changes something raises its event. It writes no journal, so that what a test counts is memory
// of the service, and what fails is an allocation of the service or of a list like this one.
//
// Threads: one. Lifetime: items that are added stay the caller's; their memory is
// watched.

#pragma once

#include <deque>
#include <string>
#include <vector>

#include "AppList.h"
#include "support/RecordingModel.h"

namespace recording {

class PlainModel : public AppListModel {
public:
    void SetSelection(AppListItem* selection) override;
    AppListItem* GetSelection() override { return m_selected; }
    std::vector<AppListItem*> GetAllItems() override { return m_items; }
    void SetClicked(AppListItem* clicked) override;
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
    int GetItemsCount() override { return static_cast<int>(m_items.size()); }
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

    // Adds an item of the application's own at the end, without an event.
    void Own(const std::string& name, const std::string& id);

    // Returns the items that others added, in list order.
    std::vector<const AppListItem*> Received() const;

    // Returns the list as "name/id name/id", with the selected item in brackets.
    std::string Content() const;

    // Whether the memory of the items that others add is watched.
    bool m_watches = true;

    // Throws std::bad_alloc once a change is made, as a list does whose listener ran out of memory.
    bool m_failsTooLate = false;

private:
    void Changed();

    std::deque<OwnItem> m_own;
    OwnItem m_none = OwnItem("", "");
    std::vector<AppListItem*> m_items;
    AppListItem* m_selected = &m_none;
    ItemSelectionListener* m_selectionListener = nullptr;
    ItemChangeListener* m_changeListener = nullptr;
    ItemClickListener* m_clickListener = nullptr;
};

}  // namespace recording
