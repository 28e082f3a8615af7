// SPDX-License-Identifier: MIT

// The application's own list behind a service under test: a working AppListModel that a test edits
// like a person would, and that tells its listeners of every edit.
//
// Items are found by unique id, the first counts, unknown ones are ignored. An item that is
// selected leaves an empty selection behind when it goes.
//
// Threads: one. Lifetime: owns what the test adds; what a partner adds is the service's.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/ListenerList.h"

class EditableList : public AppListModel {
public:
    void SetSelection(AppListItem* selection) override;
    AppListItem* GetSelection() override { return m_selected; }
    std::vector<AppListItem*> GetAllItems() override {
        ++m_reads;
        return m_items;
    }
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

    // The test's edits, each told once.
    void Add(const std::string& name, const std::string& id) { Insert(m_items.size(), name, id); }
    void Insert(std::size_t place, const std::string& name, const std::string& id);
    void RemoveAt(std::size_t place);
    void Remove(const std::string& id);
    void Rename(const std::string& id, const std::string& name);
    void Move(std::size_t from, std::size_t to);
    void Select(const std::string& id);
    // Selects something that is not in the list.
    void SelectOutside(const std::string& name, const std::string& id);
    void Click();
    // Tells of an edit that did not take place.
    void TellOfNothing();

    // Adds `count` items without a word.
    void Fill(std::size_t count);

    // Removes what the test has added.
    void RemoveAllItemsOfItsOwn();

    // How often the list was read, by anybody.
    std::size_t m_reads = 0;

    // Lets go of what is not its own, without a word: the service is about to go.
    void ForgetPartnersItems();

private:
    bool IsOwn(const AppListItem* item) const;
    AppListItem* Find(const std::string& id) const;
    void Deselect(const AppListItem* item);
    void Changed();
    void Selected();

    std::vector<AppListItem*> m_items;
    std::vector<std::unique_ptr<RemoteAppListItem>> m_own;
    RemoteAppListItem m_none;
    RemoteAppListItem m_outside;
    AppListItem* m_selected = &m_none;
    applist::ListenerList<ItemSelectionListener> m_selectionListeners;
    applist::ListenerList<ItemChangeListener> m_changeListeners;
    applist::ListenerList<ItemClickListener> m_clickListeners;
};

// "name/id name/id (id)": the list, and the selection in parentheses.
std::string ContentOf(AppListModel& model);

// The same for a short list; for a long one its length and a hash, on one line.
std::string DigestOf(AppListModel& model);
