// SPDX-License-Identifier: MIT

// A complete application list in one header, to copy and to build on. It starts with the items that
// the program gives it, and lets partners add, replace and remove.
//
// An argument means that very object if it is in the list, otherwise the first item with its id;
// what is not in the list is ignored. There is always a selection: an item of the list if it has
// any, an empty item if it has none. Listeners are called at the end of the operation that changed
// something, and may call the list.
//
// Threads: one. Lifetime: the list outlives the LocalAppListModel that publishes it.

#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/ListenerList.h"

class FixedList : public AppListModel {
public:
    FixedList(std::initializer_list<RemoteAppListItem> items) : m_own(items) {
        for (RemoteAppListItem& item : m_own) m_items.push_back(&item);
        if (!m_items.empty()) m_selection = m_items.front();
    }

    // The argument may be gone after the call, so keep the list's own item.
    void SetSelection(AppListItem* selection) override {
        AppListItem* const item = Find(selection);
        if (item == nullptr || item == m_selection) return;
        m_selection = item;
        TellSelected();
    }

    void SetClicked(AppListItem* clicked) override {
        if (Find(clicked) == nullptr) return;
        m_clickListeners.ForEach([this](ItemClickListener* each) { each->ItemClicked(this); });
    }

    AppListItem* GetSelection() override { return m_selection; }
    std::vector<AppListItem*> GetAllItems() override { return m_items; }
    int GetItemsCount() override { return static_cast<int>(m_items.size()); }

    void AddItemAtEnd(AppListItem* item) override { AddItems({item}); }

    void AddItems(const std::vector<AppListItem*>& items) override {
        if (items.empty()) return;
        m_items.insert(m_items.end(), items.begin(), items.end());
        Changed(m_selection);
    }

    // The caller frees a removed item as soon as this returns, so nothing may point to it.
    void RemoveItem(AppListItem* item) override {
        AppListItem* const gone = Find(item);
        if (gone == nullptr) return;
        m_items.erase(std::remove(m_items.begin(), m_items.end(), gone), m_items.end());
        Changed(m_selection);
    }

    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override {
        AppListItem* const gone = Find(oldItem);
        if (gone == nullptr) return;
        std::replace(m_items.begin(), m_items.end(), gone, newItem);
        AppListItem* const selected = m_selection;
        if (selected == gone) m_selection = newItem;
        Changed(selected);
    }

    void RemoveAllItems() override {
        if (m_items.empty()) return;
        m_items.clear();
        Changed(m_selection);
    }

    void AddItemSelectionListener(ItemSelectionListener* listener) override {
        m_selectionListeners.Add(listener);
    }
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override {
        m_selectionListeners.Remove(listener);
    }
    void AddItemChangeListener(ItemChangeListener* listener) override {
        m_changeListeners.Add(listener);
    }
    void RemoveItemChangeListener(ItemChangeListener* listener) override {
        m_changeListeners.Remove(listener);
    }
    void AddItemClickedListener(ItemClickListener* listener) override {
        m_clickListeners.Add(listener);
    }
    void RemoveItemClickedListener(ItemClickListener* listener) override {
        m_clickListeners.Remove(listener);
    }

private:
    bool Holds(AppListItem* item) const {
        return std::find(m_items.begin(), m_items.end(), item) != m_items.end();
    }

    // The object before its id: if two items have the same id, the one that leaves must be the one
    // that the caller is about to free.
    AppListItem* Find(AppListItem* item) const {
        if (Holds(item)) return item;
        const std::string id = item->GetUnigueId();
        for (AppListItem* each : m_items) {
            if (each->GetUnigueId() == id) return each;
        }
        return nullptr;
    }

    // Makes the selection valid again and tells the listeners: of the items, and of the selection
    // if it is no longer `selectedBefore`.
    void Changed(AppListItem* selectedBefore) {
        if (!Holds(m_selection)) m_selection = m_items.empty() ? &m_nothing : m_items.front();
        const bool selectionMoved = m_selection != selectedBefore;
        m_changeListeners.ForEach([this](ItemChangeListener* each) { each->ItemChanged(this); });
        if (selectionMoved) TellSelected();
    }

    void TellSelected() {
        m_selectionListeners.ForEach(
            [this](ItemSelectionListener* each) { each->ItemSelected(this); });
    }

    std::vector<RemoteAppListItem> m_own;  // never changed: the list points into it
    std::vector<AppListItem*> m_items;     // in list order
    RemoteAppListItem m_nothing;
    AppListItem* m_selection = &m_nothing;

    applist::ListenerList<ItemSelectionListener> m_selectionListeners;
    applist::ListenerList<ItemChangeListener> m_changeListeners;
    applist::ListenerList<ItemClickListener> m_clickListeners;
};
