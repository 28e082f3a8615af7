// SPDX-License-Identifier: MIT

// The tests' application list: a working AppListModel that enters every call into the journal.
//
// It finds items by unique id where a stand-in may be passed, ignores unknown ones, and falls back
// to an empty item when the selected one goes. It raises events only when told to, and then after
// the change, so that a test can tell the service's doings from the model's.
//
// Threads: one. Lifetime: items added through Own are the model's, all others are the caller's; the
// memory of those is watched, so that the journal shows when they are freed.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "AppList.h"

namespace recording {

// An application's item, whose strings anyone may change.
class OwnItem : public AppListItem {
public:
    OwnItem(std::string name, std::string id);
    std::string GetVisibleName() override;
    std::string GetUnigueId() override;

    std::string m_name;
    std::string m_id;
};

class RecordingModel : public AppListModel {
public:
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
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

    // Adds an item of the application's own at the end, without a word to journal or listeners.
    OwnItem* Own(const std::string& name, const std::string& id);

    // Returns the list as "name/id name/id", from the living items, without a word to the journal.
    std::string Content() const;
    AppListItem* Selected() const { return m_selected; }
    const std::vector<AppListItem*>& Items() const { return m_items; }

    // Each tells the listeners of its kind, as the model's own operations do when m_raisesEvents.
    void RaiseSelected();
    void RaiseChanged();
    void RaiseClicked();

    bool m_raisesEvents = false;
    // The operation of this name enters its call and throws a std::runtime_error naming it.
    std::string m_throwsFrom;
    // The newest argument of SetSelection, for comparison only.
    const AppListItem* m_newestSelectionArgument = nullptr;
    // The newest item that was passed in to stay.
    AppListItem* m_newestItem = nullptr;

    std::vector<ItemSelectionListener*> m_selectionListeners;
    std::vector<ItemChangeListener*> m_changeListeners;
    std::vector<ItemClickListener*> m_clickListeners;

private:
    void Enter(const std::string& operation, const std::string& arguments = "");
    void Receive(AppListItem* item);
    void FallBackIfSelected(const AppListItem* item);

    std::vector<AppListItem*> m_items;
    std::vector<std::unique_ptr<OwnItem>> m_own;
    OwnItem m_none = OwnItem("", "");
    AppListItem* m_selected = &m_none;
};

// Returns "name/id", on one line.
std::string NameAndId(AppListItem& item);

}  // namespace recording
