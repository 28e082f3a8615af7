// SPDX-License-Identifier: MIT

#include "SimpleModel.h"

#include <algorithm>

namespace bench {

SimpleModel::SimpleModel(const std::vector<PlainItem>& items) {
    for (const PlainItem& item : items) {
        m_own.emplace_back(item);
        m_items.push_back(&m_own.back());
    }
    m_selected = m_items.front();
}

void SimpleModel::SetSelection(AppListItem* selection) {
    const std::string id = selection->GetUnigueId();
    for (AppListItem* item : m_items) {
        if (item->GetUnigueId() != id) continue;
        m_selected = item;
        return;
    }
}

AppListItem* SimpleModel::GetSelection() {
    return m_selected;
}

std::vector<AppListItem*> SimpleModel::GetAllItems() {
    return m_items;
}

void SimpleModel::SetClicked(AppListItem*) {}

void SimpleModel::RemoveAllItems() {
    m_items.clear();
    m_selected = &m_own.front();
    TellChanged();
}

void SimpleModel::AddItems(const std::vector<AppListItem*>& items) {
    m_items.insert(m_items.end(), items.begin(), items.end());
    TellChanged();
}

void SimpleModel::AddItemAtEnd(AppListItem* item) {
    m_items.push_back(item);
    TellChanged();
}

void SimpleModel::RemoveItem(AppListItem* item) {
    m_items.erase(std::remove(m_items.begin(), m_items.end(), item), m_items.end());
    if (m_selected == item) m_selected = &m_own.front();
    TellChanged();
}

void SimpleModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    std::replace(m_items.begin(), m_items.end(), oldItem, newItem);
    if (m_selected == oldItem) m_selected = newItem;
    TellChanged();
}

int SimpleModel::GetItemsCount() {
    return static_cast<int>(m_items.size());
}

void SimpleModel::AddItemSelectionListener(ItemSelectionListener*) {}

void SimpleModel::RemoveItemSelectionListener(ItemSelectionListener*) {}

void SimpleModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.push_back(listener);
}

void SimpleModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.erase(
        std::remove(m_changeListeners.begin(), m_changeListeners.end(), listener),
        m_changeListeners.end());
}

void SimpleModel::AddItemClickedListener(ItemClickListener*) {}

void SimpleModel::RemoveItemClickedListener(ItemClickListener*) {}

void SimpleModel::TellChanged() {
    for (ItemChangeListener* listener : m_changeListeners) listener->ItemChanged(this);
}

}  // namespace bench
