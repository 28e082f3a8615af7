// SPDX-License-Identifier: MIT

#include "partner/RemoteAppListModel.h"

#include <cstddef>
#include <string>
#include <utility>

#include "common/AppListRemoteControl.h"
#include "common/ItemText.h"
#include "common/ItemTextWriter.h"
#include "partner/Follower.h"

namespace applist {

namespace {

// The channel appends the message's id to its text: room for it saves a copy of the whole.
constexpr std::size_t kIdSize = sizeof(IPCApplist<TesselDbusRemote, Follower>::byteint);

// Calls `each` with the two strings of every item. The name is fetched first, in a statement of its
// own: arguments are evaluated in any order.
template <class Each>
void ForStringsOf(const std::vector<AppListItem*>& items, Each each) {
    for (AppListItem* item : items) {
        const std::string visibleName = item->GetVisibleName();
        each(visibleName, item->GetUnigueId());
    }
}

// Asks each item twice, so that the text of a long list takes just the memory that it needs: a
// vector that grows takes up to three times as much.
std::vector<char> TextOf(const std::vector<AppListItem*>& items) {
    using String = const std::string&;
    std::size_t size = kIdSize;
    ForStringsOf(items, [&](String name, String id) { size += ItemText::SizeOf(name, id); });
    ItemTextWriter text(size);
    ForStringsOf(items, [&](String name, String id) { text.Append(name, id); });
    return std::move(text).Take();
}

}  // namespace

RemoteAppListModel::RemoteAppListModel() : m_follower(std::make_unique<Follower>(this)) {}

RemoteAppListModel::~RemoteAppListModel() = default;

// ---- Reads --------------------------------------------------------------------------------------

AppListItem* RemoteAppListModel::GetSelection() {
    return m_follower->List().GetSelection();
}

std::vector<AppListItem*> RemoteAppListModel::GetAllItems() {
    return m_follower->List().GetAllItems();
}

int RemoteAppListModel::GetItemsCount() {
    return static_cast<int>(m_follower->List().Count());
}

// ---- Writes -------------------------------------------------------------------------------------

void RemoteAppListModel::SetSelection(AppListItem* selection) {
    m_follower->Write(APPLIST_SET_SELECTION_FNC, TextOf({selection}));
}

void RemoteAppListModel::SetClicked(AppListItem* clicked) {
    m_follower->Write(APPLIST_SET_CLICKED_FNC, TextOf({clicked}));
}

void RemoteAppListModel::RemoveAllItems() {
    m_follower->Write(APPLIST_REMOVE_ALL_ITEMS_FNC, TextOf({}));
}

void RemoteAppListModel::AddItems(const std::vector<AppListItem*>& items) {
    m_follower->Write(APPLIST_ADD_ITEMS_FNC, TextOf(items));
}

void RemoteAppListModel::AddItemAtEnd(AppListItem* item) {
    m_follower->Write(APPLIST_ADD_ITEM_AT_END_FNC, TextOf({item}));
}

void RemoteAppListModel::RemoveItem(AppListItem* item) {
    m_follower->Write(APPLIST_REMOVE_ITEM_FNC, TextOf({item}));
}

void RemoteAppListModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    m_follower->Write(APPLIST_MODIFY_ITEM_FNC, TextOf({oldItem, newItem}));
}

void RemoteAppListModel::SetTimeout(std::chrono::milliseconds timeout) {
    m_follower->SetTimeout(timeout);
}

void RemoteAppListModel::SetStartsService(bool starts) {
    m_follower->SetStartsService(starts);
}

bool RemoteAppListModel::IsServiceThere() const {
    return m_follower->IsServiceThere();
}

void RemoteAppListModel::Synchronize() {
    m_follower->Synchronize();
}

// ---- Listeners ----------------------------------------------------------------------------------

void RemoteAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_follower->OfSelection().Add(listener);
}

void RemoteAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_follower->OfSelection().Remove(listener);
}

void RemoteAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_follower->OfItems().Add(listener);
}

void RemoteAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_follower->OfItems().Remove(listener);
}

void RemoteAppListModel::AddItemClickedListener(ItemClickListener* listener) {
    m_follower->OfClicks().Add(listener);
}

void RemoteAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
    m_follower->OfClicks().Remove(listener);
}

void RemoteAppListModel::AddServiceListener(ServiceListener* listener) {
    m_follower->OfService().Add(listener);
}

void RemoteAppListModel::RemoveServiceListener(ServiceListener* listener) {
    m_follower->OfService().Remove(listener);
}

}  // namespace applist
