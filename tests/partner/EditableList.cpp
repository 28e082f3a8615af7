// SPDX-License-Identifier: MIT

#include "partner/EditableList.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

void EditableList::SetSelection(AppListItem* selection) {
    AppListItem* const item = Find(selection->GetUnigueId());
    if (item == nullptr || item == m_selected) return;
    m_selected = item;
    Selected();
}

void EditableList::SetClicked(AppListItem*) {
    Click();
}

void EditableList::RemoveAllItems() {
    m_items.clear();
    m_selected = &m_none;
    Changed();
    m_own.clear();
}

void EditableList::AddItems(const std::vector<AppListItem*>& items) {
    m_items.insert(m_items.end(), items.begin(), items.end());
    Changed();
}

void EditableList::AddItemAtEnd(AppListItem* item) {
    m_items.push_back(item);
    Changed();
}

void EditableList::RemoveItem(AppListItem* item) {
    m_items.erase(std::remove(m_items.begin(), m_items.end(), item), m_items.end());
    Deselect(item);
    Changed();
}

void EditableList::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    std::replace(m_items.begin(), m_items.end(), oldItem, newItem);
    Deselect(oldItem);
    Changed();
}

void EditableList::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Add(listener);
}

void EditableList::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Remove(listener);
}

void EditableList::AddItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Add(listener);
}

void EditableList::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Remove(listener);
}

void EditableList::AddItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Add(listener);
}

void EditableList::RemoveItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Remove(listener);
}

void EditableList::Insert(std::size_t place, const std::string& name, const std::string& id) {
    m_own.push_back(std::make_unique<RemoteAppListItem>(name, id));
    m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(place), m_own.back().get());
    Changed();
}

// What a partner added stays: it is the service's, which does not know that it would be gone.
void EditableList::RemoveAt(std::size_t place) {
    AppListItem* const item = m_items[place];
    const auto own = std::find_if(m_own.begin(), m_own.end(),
                                  [&](const auto& each) { return each.get() == item; });
    if (own == m_own.end()) return;
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(place));
    Deselect(item);
    m_own.erase(own);
    Changed();
}

void EditableList::Remove(const std::string& id) {
    const auto found = std::find(m_items.begin(), m_items.end(), Find(id));
    if (found == m_items.end()) throw std::logic_error("no item " + id);
    RemoveAt(static_cast<std::size_t>(found - m_items.begin()));
}

void EditableList::Rename(const std::string& id, const std::string& name) {
    auto* const item = dynamic_cast<RemoteAppListItem*>(Find(id));
    if (item == nullptr) throw std::logic_error("no item " + id);
    *item = RemoteAppListItem(name, id);
    Changed();
}

void EditableList::Move(std::size_t from, std::size_t to) {
    AppListItem* const item = m_items[from];
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(from));
    m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(to), item);
    Changed();
}

void EditableList::Select(const std::string& id) {
    RemoteAppListItem item("", id);
    SetSelection(&item);
}

void EditableList::SelectOutside(const std::string& name, const std::string& id) {
    m_outside = RemoteAppListItem(name, id);
    m_selected = &m_outside;
    Selected();
}

void EditableList::Click() {
    m_clickListeners.ForEach([this](ItemClickListener* each) { each->ItemClicked(this); });
}

void EditableList::TellOfNothing() {
    Changed();
}

void EditableList::Fill(std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
        const std::string text = std::to_string(number);
        m_own.push_back(std::make_unique<RemoteAppListItem>("Name " + text, "id" + text));
        m_items.push_back(m_own.back().get());
    }
}

void EditableList::RemoveAllItemsOfItsOwn() {
    std::vector<AppListItem*> partners;
    for (AppListItem* item : m_items) {
        if (IsOwn(item)) {
            Deselect(item);
        } else {
            partners.push_back(item);
        }
    }
    m_items = std::move(partners);
    m_own.clear();
    Changed();
}

void EditableList::ForgetPartnersItems() {
    std::vector<AppListItem*> own;
    for (AppListItem* item : m_items) {
        if (IsOwn(item)) {
            own.push_back(item);
        } else {
            Deselect(item);
        }
    }
    m_items = std::move(own);
}

bool EditableList::IsOwn(const AppListItem* item) const {
    return std::any_of(m_own.begin(), m_own.end(),
                       [&](const auto& each) { return each.get() == item; });
}

AppListItem* EditableList::Find(const std::string& id) const {
    const auto found = std::find_if(m_items.begin(), m_items.end(),
                                    [&](AppListItem* item) { return item->GetUnigueId() == id; });
    return found == m_items.end() ? nullptr : *found;
}

void EditableList::Deselect(const AppListItem* item) {
    if (m_selected == item) m_selected = &m_none;
}

void EditableList::Changed() {
    m_changeListeners.ForEach([this](ItemChangeListener* each) { each->ItemChanged(this); });
}

void EditableList::Selected() {
    m_selectionListeners.ForEach([this](ItemSelectionListener* each) { each->ItemSelected(this); });
}

std::string ContentOf(AppListModel& model) {
    std::string content;
    for (AppListItem* item : model.GetAllItems()) {
        content += item->GetVisibleName() + "/" + item->GetUnigueId() + " ";
    }
    return content + "(" + model.GetSelection()->GetUnigueId() + ")";
}

std::string DigestOf(AppListModel& model) {
    constexpr int kLong = 100;
    const std::string content = ContentOf(model);
    const auto items = model.GetItemsCount();
    if (items < kLong) return content;
    return std::to_string(items) + " items, hash " +
           std::to_string(std::hash<std::string>()(content));
}
