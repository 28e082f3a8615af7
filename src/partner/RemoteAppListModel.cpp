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

void Write(Follower& follower, int messageId, const std::vector<AppListItem*>& items) {
    follower.Write(messageId, items, TextOf(items));
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
    Write(*m_follower, APPLIST_SET_SELECTION_FNC, {selection});
}

void RemoteAppListModel::SetClicked(AppListItem* clicked) {
    Write(*m_follower, APPLIST_SET_CLICKED_FNC, {clicked});
}

void RemoteAppListModel::RemoveAllItems() {
    Write(*m_follower, APPLIST_REMOVE_ALL_ITEMS_FNC, {});
}

void RemoteAppListModel::AddItems(const std::vector<AppListItem*>& items) {
    Write(*m_follower, APPLIST_ADD_ITEMS_FNC, items);
}

void RemoteAppListModel::AddItemAtEnd(AppListItem* item) {
    Write(*m_follower, APPLIST_ADD_ITEM_AT_END_FNC, {item});
}

void RemoteAppListModel::RemoveItem(AppListItem* item) {
    Write(*m_follower, APPLIST_REMOVE_ITEM_FNC, {item});
}

void RemoteAppListModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    Write(*m_follower, APPLIST_MODIFY_ITEM_FNC, {oldItem, newItem});
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

bool RemoteAppListModel::IsListRead() const {
    return m_follower->IsListRead();
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

void RemoteAppListModel::AddRowListener(RowListener* listener) {
    m_follower->AddRowListener(listener);
}

void RemoteAppListModel::RemoveRowListener(RowListener* listener) {
    m_follower->RemoveRowListener(listener);
}

void RemoteAppListModel::AddListReadListener(ListReadListener* listener) {
    m_follower->OfReading().Add(listener);
}

void RemoteAppListModel::RemoveListReadListener(ListReadListener* listener) {
    m_follower->OfReading().Remove(listener);
}

void RemoteAppListModel::AddWriteListener(WriteListener* listener) {
    m_follower->OfWrites().Add(listener);
}

void RemoteAppListModel::RemoveWriteListener(WriteListener* listener) {
    m_follower->OfWrites().Remove(listener);
}

}  // namespace applist
