// SPDX-License-Identifier: MIT

#include "support/PlainModel.h"

#include <algorithm>
#include <new>

#include "support/RecordingAllocator.h"

namespace recording {

void PlainModel::SetSelection(AppListItem* selection) {
    const std::string id = selection->GetUnigueId();
    const auto own = std::find_if(m_items.begin(), m_items.end(),
                                  [&](AppListItem* item) { return item->GetUnigueId() == id; });
    if (own == m_items.end()) return;
    m_selected = *own;
    m_selectionListener->ItemSelected(this);
}

void PlainModel::SetClicked(AppListItem*) {
    m_clickListener->ItemClicked(this);
}

void PlainModel::RemoveAllItems() {
    m_items.clear();
    m_selected = &m_none;
    Changed();
}

void PlainModel::AddItems(const std::vector<AppListItem*>& items) {
    m_items.reserve(m_items.size() + items.size());
    for (AppListItem* item : items) {
        if (m_watches) WatchDelete(item);
        m_items.push_back(item);
    }
    Changed();
}

void PlainModel::AddItemAtEnd(AppListItem* item) {
    AddItems({item});
}

void PlainModel::RemoveItem(AppListItem* item) {
    m_items.erase(std::remove(m_items.begin(), m_items.end(), item), m_items.end());
    if (m_selected == item) m_selected = &m_none;
    Changed();
}

void PlainModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    // As a list does that keeps more for each item than a pointer.
    const std::string id = newItem->GetUnigueId();
    if (m_watches) WatchDelete(newItem);
    std::replace(m_items.begin(), m_items.end(), oldItem, newItem);
    if (m_selected == oldItem) m_selected = newItem;
    Changed();
}

void PlainModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListener = listener;
}

void PlainModel::RemoveItemSelectionListener(ItemSelectionListener*) {
    m_selectionListener = nullptr;
}

void PlainModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_changeListener = listener;
}

void PlainModel::RemoveItemChangeListener(ItemChangeListener*) {
    m_changeListener = nullptr;
}

void PlainModel::AddItemClickedListener(ItemClickListener* listener) {
    m_clickListener = listener;
}

void PlainModel::RemoveItemClickedListener(ItemClickListener*) {
    m_clickListener = nullptr;
}

void PlainModel::Own(const std::string& name, const std::string& id) {
    m_own.emplace_back(name, id);
    m_items.push_back(&m_own.back());
}

std::vector<const AppListItem*> PlainModel::Received() const {
    std::vector<const AppListItem*> received;
    for (const AppListItem* item : m_items) {
        const bool isOwn = std::any_of(m_own.begin(), m_own.end(),
                                       [item](const OwnItem& own) { return &own == item; });
        if (!isOwn) received.push_back(item);
    }
    return received;
}

std::string PlainModel::Content() const {
    std::string content;
    for (AppListItem* item : m_items) {
        const std::string text = NameAndId(*item);
        content += (content.empty() ? "" : " ") + (item == m_selected ? "[" + text + "]" : text);
    }
    return content;
}

void PlainModel::Changed() {
    m_changeListener->ItemChanged(this);
    if (m_failsTooLate) throw std::bad_alloc();
}

}  // namespace recording
