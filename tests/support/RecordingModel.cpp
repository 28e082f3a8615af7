// SPDX-License-Identifier: MIT

#include "support/RecordingModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "support/RecordingAllocator.h"
#include "support/RecordingJournal.h"

namespace recording {

namespace {

std::string Numbered(AppListItem* item) {
    return Journal::Get().NameOf(item) + " " + NameAndId(*item);
}

template <class Listener>
void RemoveFrom(std::vector<Listener*>& listeners, Listener* listener) {
    listeners.erase(std::remove(listeners.begin(), listeners.end(), listener), listeners.end());
}

}  // namespace

OwnItem::OwnItem(std::string name, std::string id) : m_name(std::move(name)), m_id(std::move(id)) {}

std::string OwnItem::GetVisibleName() {
    return m_name;
}

std::string OwnItem::GetUnigueId() {
    return m_id;
}

std::string NameAndId(AppListItem& item) {
    return OneLine(item.GetVisibleName() + "/" + item.GetUnigueId());
}

void RecordingModel::SetSelection(AppListItem* selection) {
    m_newestSelectionArgument = selection;
    Enter("SetSelection", NameAndId(*selection));
    const auto own = std::find_if(m_items.begin(), m_items.end(), [selection](AppListItem* item) {
        return item->GetUnigueId() == selection->GetUnigueId();
    });
    if (own == m_items.end()) return;
    m_selected = *own;
    if (m_raisesEvents) RaiseSelected();
}

AppListItem* RecordingModel::GetSelection() {
    Enter("GetSelection");
    return m_selected;
}

std::vector<AppListItem*> RecordingModel::GetAllItems() {
    Enter("GetAllItems");
    return m_items;
}

void RecordingModel::SetClicked(AppListItem* clicked) {
    Enter("SetClicked", NameAndId(*clicked));
    if (m_raisesEvents) RaiseClicked();
}

void RecordingModel::RemoveAllItems() {
    Enter("RemoveAllItems");
    m_items.clear();
    m_selected = &m_none;
    if (m_raisesEvents) RaiseChanged();
}

void RecordingModel::AddItems(const std::vector<AppListItem*>& items) {
    std::string arguments;
    for (AppListItem* item : items) {
        Receive(item);
        arguments += (arguments.empty() ? "" : ", ") + Numbered(item);
    }
    Enter("AddItems", arguments);
    m_items.insert(m_items.end(), items.begin(), items.end());
    if (m_raisesEvents) RaiseChanged();
}

void RecordingModel::AddItemAtEnd(AppListItem* item) {
    Receive(item);
    Enter("AddItemAtEnd", Numbered(item));
    m_items.push_back(item);
    if (m_raisesEvents) RaiseChanged();
}

void RecordingModel::RemoveItem(AppListItem* item) {
    const ExemptFromFailing exempt;
    Enter("RemoveItem", Numbered(item));
    RemoveFrom(m_items, item);
    FallBackIfSelected(item);
    if (m_raisesEvents) RaiseChanged();
}

void RecordingModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    const ExemptFromFailing exempt;
    Receive(newItem);
    Enter("ModifyItem", Numbered(oldItem) + " by " + Numbered(newItem));
    std::replace(m_items.begin(), m_items.end(), oldItem, newItem);
    FallBackIfSelected(oldItem);
    if (m_raisesEvents) RaiseChanged();
}

int RecordingModel::GetItemsCount() {
    Enter("GetItemsCount");
    return static_cast<int>(m_items.size());
}

void RecordingModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    Enter("AddItemSelectionListener");
    m_selectionListeners.push_back(listener);
}

void RecordingModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    Enter("RemoveItemSelectionListener");
    RemoveFrom(m_selectionListeners, listener);
}

void RecordingModel::AddItemChangeListener(ItemChangeListener* listener) {
    Enter("AddItemChangeListener");
    m_changeListeners.push_back(listener);
}

void RecordingModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    Enter("RemoveItemChangeListener");
    RemoveFrom(m_changeListeners, listener);
}

void RecordingModel::AddItemClickedListener(ItemClickListener* listener) {
    Enter("AddItemClickedListener");
    m_clickListeners.push_back(listener);
}

void RecordingModel::RemoveItemClickedListener(ItemClickListener* listener) {
    Enter("RemoveItemClickedListener");
    RemoveFrom(m_clickListeners, listener);
}

OwnItem* RecordingModel::Own(const std::string& name, const std::string& id) {
    m_own.push_back(std::make_unique<OwnItem>(name, id));
    m_items.push_back(m_own.back().get());
    return m_own.back().get();
}

std::string RecordingModel::Content() const {
    std::string content;
    for (AppListItem* item : m_items) {
        content += (content.empty() ? "" : " ") + NameAndId(*item);
    }
    return content;
}

void RecordingModel::RaiseSelected() {
    for (ItemSelectionListener* listener : m_selectionListeners) listener->ItemSelected(this);
}

void RecordingModel::RaiseChanged() {
    for (ItemChangeListener* listener : m_changeListeners) listener->ItemChanged(this);
}

void RecordingModel::RaiseClicked() {
    for (ItemClickListener* listener : m_clickListeners) listener->ItemClicked(this);
}

void RecordingModel::Enter(const std::string& operation, const std::string& arguments) {
    Journal::Get().Add("model " + operation + (arguments.empty() ? "" : " ") + arguments);
    if (operation == m_throwsFrom) throw std::runtime_error(operation);
}

void RecordingModel::Receive(AppListItem* item) {
    m_newestItem = item;
    Journal::Get().Introduce(item);
    WatchDelete(item);
}

void RecordingModel::FallBackIfSelected(const AppListItem* item) {
    if (m_selected == item) m_selected = &m_none;
}

}  // namespace recording
