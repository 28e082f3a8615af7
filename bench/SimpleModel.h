// SPDX-License-Identifier: MIT

// An application list as small as one can be: a vector of items, the first one selected.
//
// Threads: one. Lifetime: owns the items that it was built with; those added later stay the
// caller's.

#pragma once

#include <deque>
#include <vector>

#include "AppList.h"
#include "ByHand.h"

namespace bench {

class SimpleModel : public AppListModel {
public:
    // REQUIRES: `items` is not empty.
    explicit SimpleModel(const std::vector<PlainItem>& items);

    void SetSelection(AppListItem* selection) override;
    AppListItem* GetSelection() override;
    std::vector<AppListItem*> GetAllItems() override;
    void SetClicked(AppListItem* clicked) override;
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
    int GetItemsCount() override;

    // Each listener hears of changes only: selection and clicks come from a person.
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

private:
    class OwnItem : public AppListItem {
    public:
        explicit OwnItem(const PlainItem& item) : m_item(item) {}
        std::string GetVisibleName() override { return m_item.visibleName; }
        std::string GetUnigueId() override { return m_item.uniqueId; }

    private:
        PlainItem m_item;
    };

    void TellChanged();

    std::deque<OwnItem> m_own;
    std::vector<AppListItem*> m_items;
    AppListItem* m_selected;
    std::vector<ItemChangeListener*> m_changeListeners;
};

}  // namespace bench
