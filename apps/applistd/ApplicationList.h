// SPDX-License-Identifier: MIT

// The list that the daemon publishes: the machine's own items first, then those that others added.
//
// A call that names an item means that very object if it is in the list, otherwise the first item
// with the same unique id. Ids may repeat. An item whose id is not in the list is ignored, and so
// is a null pointer.
//
// Selection: there always is one. It is an item of the list whenever the list has any, and an item
// with two empty strings when it has none. When the selected item goes, the item that takes its
// place is selected, else the last one.
//
// Events: listeners are called at the end of the operation that caused them, a change before the
// selection that it moved, and never for an operation without an effect. They may call the model.
// Own items that leave the list are freed after the listeners have been told.
//
// Threads: the main loop's. Lifetime: the machine's own items belong to this object, all others to
// whoever added them.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/ListenerList.h"

namespace applist::daemon {

class ApplicationList : public AppListModel {
public:
    ApplicationList() = default;
    ApplicationList(const ApplicationList&) = delete;
    ApplicationList& operator=(const ApplicationList&) = delete;

    // Makes `items` the machine's own, in this order, and compares them by id with those of the
    // call before: a new id is added, one that is gone is removed, a renamed item is replaced and
    // stays selected, an unchanged one stays the same object. An own item that somebody removed
    // from the list stays away for as long as every call contains its id; where ids repeat, for as
    // long as every call contains it as often.
    void SetOwnItems(std::vector<RemoteAppListItem> items);

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

private:
    using OwnItems = std::vector<std::unique_ptr<RemoteAppListItem>>;

    // Returns where the item meant by `item` stands, or the end.
    std::vector<AppListItem*>::iterator Find(AppListItem* item);
    // Where an own item comes from: it was there before, or it is new.
    struct Place {
        std::unique_ptr<RemoteAppListItem>* before;
        std::unique_ptr<RemoteAppListItem> fresh;

        RemoteAppListItem* Item() const { return before != nullptr ? before->get() : fresh.get(); }
        std::unique_ptr<RemoteAppListItem> Take() {
            return std::move(before != nullptr ? *before : fresh);
        }
    };
    using Counts = std::unordered_map<std::string, std::size_t>;
    // Finds which own items stay, and makes the rest of them from `items`, whose ids are counted in
    // `ids`.
    std::vector<Place> Reconcile(std::vector<RemoteAppListItem>& items, Counts& ids);
    // How often the call before contained `id`.
    std::size_t KnownCount(const std::string& id) const;
    // Gives up the ownership of `item` if it is the machine's own.
    std::unique_ptr<RemoteAppListItem> Disown(AppListItem* item);

    // Selects the item at `place`, or the last, or the empty one.
    void SelectPlace(std::size_t place);
    // Replaces a selected item that was in `before` and has left the list: by the own item with the
    // same id, else by the item that followed it, else by the last one.
    void SelectSuccessor(const std::vector<AppListItem*>& before);
    // Raises the change event, and the selection event when `selected` is selected no longer.
    void TellChanged(const AppListItem* selected);

    std::vector<AppListItem*> m_items;  // in list order; the machine's own and all others
    OwnItems m_own;
    Counts m_ownIds;  // of the last SetOwnItems
    RemoteAppListItem m_nothing;
    AppListItem* m_selection = &m_nothing;

    ListenerList<ItemSelectionListener> m_selectionListeners;
    ListenerList<ItemChangeListener> m_changeListeners;
    ListenerList<ItemClickListener> m_clickListeners;
};

}  // namespace applist::daemon
