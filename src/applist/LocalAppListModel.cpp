// SPDX-License-Identifier: MIT

#include "applist/LocalAppListModel.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "applist/Registry.h"
#include "applist/Request.h"
#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "common/Guarded.h"
#include "common/ItemText.h"
#include "common/ItemTextWriter.h"

using applist::Batch;
using applist::BytesOf;
using applist::DeleteAppListItem;
using applist::Find;
using applist::Guarded;
using applist::ItemOf;
using applist::ItemText;
using applist::ItemTextWriter;
using applist::MakeRoom;
using applist::Request;
using applist::logging::kDebug;
using applist::logging::kError;
using std::string;
using std::vector;

namespace {

const char kSendingAnEvent[] = "sending an event";

// Room to reserve for each item of a reply: an application on a desktop takes about 50 bytes. What
// many short items do not use is kept as long as the reply, so there is a bound.
constexpr std::size_t kUsualTextSize = 64;
constexpr std::size_t kMostReplyRoom = std::size_t{64} << 10;

// Calls each of the item's getters once, the name's first.
void Append(AppListItem& item, ItemTextWriter& reply) {
    const string visibleName = item.GetVisibleName();
    const string uniqueId = item.GetUnigueId();
    reply.Append(visibleName, uniqueId);
}

// Takes a buffer out of its place for as long as it lives. A transport may deliver an event at
// once, and what that leads to may send the next one.
class Borrowed {
public:
    explicit Borrowed(vector<char>& place) : m_place(place) { m_buffer.swap(place); }
    ~Borrowed() { m_buffer.swap(m_place); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

    vector<char>& Buffer() { return m_buffer; }

private:
    vector<char>& m_place;
    vector<char> m_buffer;
};

}  // namespace

LocalAppListModel::LocalAppListModel(AppListModel* appList)
    : m_appList(appList),
      m_limits(applist::CurrentServiceLimits()),
      m_eventBody(sizeof(APPLIST_LOCAL_CREATED_EVENT)) {
    m_appList->AddItemSelectionListener(this);
    m_appList->AddItemChangeListener(this);
    m_appList->AddItemClickedListener(this);
    m_IPC.RegisterOnMessage(this, &LocalAppListModel::OnMessageReceive);
    m_IPC.RegisterOnConnectionReady(this, &LocalAppListModel::OnConnectionReady);
}

// The wrapped model is not told that the items go: its list belongs to its owner, and emptying one
// that is about to be published again would flash an empty screen.
LocalAppListModel::~LocalAppListModel() {
    m_IPC.UnregisterOnMessage(this);
    m_IPC.UnregisterOnConnectionReady(this);
    m_appList->RemoveItemSelectionListener(this);
    m_appList->RemoveItemChangeListener(this);
    m_appList->RemoveItemClickedListener(this);
    std::for_each(m_items.begin(), m_items.end(), DeleteAppListItem());
    m_items.clear();
}

void LocalAppListModel::SetSelection(AppListItem* selection) {
    m_appList->SetSelection(selection);
}

AppListItem* LocalAppListModel::GetSelection() {
    return m_appList->GetSelection();
}

vector<AppListItem*> LocalAppListModel::GetAllItems() {
    return m_appList->GetAllItems();
}

void LocalAppListModel::SetClicked(AppListItem* clicked) {
    m_appList->SetClicked(clicked);
}

void LocalAppListModel::RemoveAllItems() {
    APPLIST_LOG(kDebug, "RemoveAllItems method is not implemented");
}

void LocalAppListModel::AddItems(const vector<AppListItem*>&) {
    APPLIST_LOG(kDebug, "AddItems method is not implemented");
}

void LocalAppListModel::AddItemAtEnd(AppListItem*) {
    APPLIST_LOG(kDebug, "AddItemAtEnd method is not implemented");
}

void LocalAppListModel::RemoveItem(AppListItem*) {
    APPLIST_LOG(kDebug, "RemoveItem method is not implemented");
}

void LocalAppListModel::ModifyItem(AppListItem*, AppListItem*) {
    APPLIST_LOG(kDebug, "ModifyItem method is not implemented");
}

// Not forwarded although its neighbours are: existing callers expect 0.
int LocalAppListModel::GetItemsCount() {
    APPLIST_LOG(kDebug, "GetItemsCount method is not implemented");
    return 0;
}

void LocalAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_appList->AddItemSelectionListener(listener);
}

void LocalAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_appList->RemoveItemSelectionListener(listener);
}

void LocalAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_appList->AddItemChangeListener(listener);
}

void LocalAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_appList->RemoveItemChangeListener(listener);
}

void LocalAppListModel::AddItemClickedListener(ItemClickListener* listener) {
    m_appList->AddItemClickedListener(listener);
}

void LocalAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
    m_appList->RemoveItemClickedListener(listener);
}

// What the transport throws ends in the log: in the model, which calls this, it would undo half of
// what has happened. Who counts the events finds out that one is missing.
void LocalAppListModel::ItemSelected(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Selection Event to remote object");
    Guarded(kSendingAnEvent, [this] { SendEvent(APPLIST_ITEM_SELECTION_EVENT, ""); });
}

void LocalAppListModel::ItemChanged(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Change Event to remote object");
    Guarded(kSendingAnEvent, [this] { SendEvent(APPLIST_ITEM_CHANGE_EVENT, ""); });
}

void LocalAppListModel::ItemClicked(AppListModel*) {
    APPLIST_LOG(kDebug, "Sending Item Clicked Event to remote object");
    Guarded(kSendingAnEvent, [this] { SendEvent(APPLIST_ITEM_CLICKED_EVENT, ""); });
}

void LocalAppListModel::OnConnectionReady(const string& partner) {
    APPLIST_LOG(kDebug, "Connection established with partner %s. Sending Local created event",
                partner.c_str());
    SendEvent(APPLIST_LOCAL_CREATED_EVENT, partner);
}

void LocalAppListModel::SendEvent(int event, const string& partner) {
    Borrowed body(m_eventBody);
    m_IPC.SendNotification(event, partner, body.Buffer());
}

// A short or malformed payload is executed all the same, with whatever reading it left behind: two
// empty strings for a fresh item. Only the batch asks whether an item was read, to end its loop.
//
// Items are read and written in place, without a stream: a stream swallows std::bad_alloc, and half
// a list would then look like a whole one.
vector<char> LocalAppListModel::OnMessageReceive(int messageId, const vector<char>& messageData) {
    Settle();
    Request request(messageData);
    vector<char> result;

    switch (messageId) {
        case APPLIST_SET_SELECTION_FNC: {
            APPLIST_LOG(kDebug, "Remote call: SetSelection");
            RemoteAppListItem item = ItemOf(request.Next());
            APPLIST_LOG(kDebug, "Selected item name: %s, uniqueId: %s", item.VisibleName().c_str(),
                        item.UniqueId().c_str());
            m_appList->SetSelection(&item);
            break;
        }

        case APPLIST_GET_SELECTION_FNC: {
            // Three calls, not one kept pointer: the item belongs to the model, which promises it
            // only until it is called again.
            string visibleName = m_appList->GetSelection()->GetVisibleName();
            string uniqueId = m_appList->GetSelection()->GetUnigueId();
            APPLIST_LOG(kDebug, "Remote call: GetSelection. Selected item name: %s, uniqueId: %s",
                        visibleName.c_str(), uniqueId.c_str());
            string().swap(visibleName);  // they may be as large as the reply
            string().swap(uniqueId);
            ItemTextWriter reply(kUsualTextSize);
            ::Append(*m_appList->GetSelection(), reply);
            result = std::move(reply).Take();
            break;
        }

        case APPLIST_GET_ALL_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: GetAllItems");
            vector<AppListItem*> items = m_appList->GetAllItems();
            ItemTextWriter reply(std::min(items.size() * kUsualTextSize, kMostReplyRoom));
            for (auto itr = items.begin(); itr != items.end(); ++itr) ::Append(**itr, reply);
            vector<AppListItem*>().swap(items);  // of short items, as large as the reply
            result = std::move(reply).Take();
            break;
        }

        case APPLIST_REMOVE_ALL_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: RemoveAllItems");
            // The model first, then the items: it must never hold one that was freed.
            m_appList->RemoveAllItems();
            APPLIST_LOG(kDebug, "Removing items");
            std::for_each(m_items.begin(), m_items.end(), DeleteAppListItem());
            m_items.clear();
            m_bytes = 0;
            break;
        }

        case APPLIST_ADD_ITEMS_FNC: {
            APPLIST_LOG(kDebug, "Remote call: AddItems");
            // A last item without its terminator is only half an item, and is dropped.
            const Request::Amount amount = request.Measure();
            if (!HasRoomFor("AddItems", amount.items, amount.bytes)) break;
            vector<AppListItem*> items;
            items.reserve(amount.items);
            MakeRoom(m_items, amount.items);
            Batch batch(m_items, m_bytes);
            while (items.size() < amount.items) {
                RemoteAppListItem* const item = new RemoteAppListItem(ItemOf(request.Next()));
                items.push_back(item);
                Append(item);
                APPLIST_LOG(kDebug, " - RemoteAppListItem name: %s, uniqueId: %s",
                            item->VisibleName().c_str(), item->UniqueId().c_str());
            }
            batch.Keep();  // from here on the model may hold the items, even if it throws
            try {
                m_appList->AddItems(items);
            } catch (const std::bad_alloc&) {
                HoldInDoubt(m_items.size() - items.size(), m_items.size());
                throw;
            }
            APPLIST_LOG(kDebug, "%d items has been added to Applist",
                        static_cast<int>(items.size()));
            break;
        }

        case APPLIST_ADD_ITEM_AT_END_FNC: {
            APPLIST_LOG(kDebug, "Remote call: AddItemAtEnd");
            const std::optional<ItemText> text = request.Next();
            if (!HasRoomFor("AddItemAtEnd", 1, text ? text->StringsSize() : 0)) break;
            auto owned = std::make_unique<RemoteAppListItem>(ItemOf(text));
            // Room in the registry first: nothing may fail once the model has the item. If the
            // model throws anything but bad_alloc, the item is leaked, not freed: the model may
            // have kept it.
            MakeRoom(m_items, 1);
            RemoteAppListItem* const item = owned.release();
            try {
                m_appList->AddItemAtEnd(item);
            } catch (const std::bad_alloc&) {
                Append(item);
                HoldInDoubt(m_items.size() - 1, m_items.size());
                throw;
            }
            Append(item);
            break;
        }

        case APPLIST_SET_CLICKED_FNC: {
            // A partner cannot click: clicks travel only from the list's owner to the partner.
            APPLIST_LOG(kDebug, "Remote call: SetClicked. This function is not implemented");
            break;
        }

        case APPLIST_REMOVE_ITEM_FNC: {
            APPLIST_LOG(kDebug, "Remote call: RemoveItem");
            PrivateRemoveItem(ItemOf(request.Next()));
            break;
        }

        case APPLIST_MODIFY_ITEM_FNC: {
            APPLIST_LOG(kDebug, "Remote call: ModifyItem");
            RemoteAppListItem oldItem = ItemOf(request.Next());
            RemoteAppListItem newItem = ItemOf(request.Next());
            if (Find(m_items, newItem) == m_items.end()) {
                PrivateModifyItem(std::move(oldItem), std::move(newItem));
            } else {
                // The new id is taken, perhaps by the old item itself: replacing would leave two
                // items with one id, so the old one goes and the other stays as it is.
                PrivateRemoveItem(std::move(oldItem));
            }
            break;
        }

        default: APPLIST_LOG(kDebug, "Call to undefined function: %d", messageId); break;
    }
    return result;
}

// Here and below the order matters: log while both strings can be read, tell the model while the
// item is alive, delete it, and only then touch the registry. If the model throws, the item and
// the registry are as they were.
void LocalAppListModel::PrivateRemoveItem(RemoteAppListItem item) {
    const auto itr = Find(m_items, item);
    if (itr == m_items.end()) return;
    APPLIST_LOG(kDebug, "Removing item name: %s, uniqueId: %s", (*itr)->VisibleName().c_str(),
                (*itr)->UniqueId().c_str());
    m_appList->RemoveItem(*itr);
    GiveBack(BytesOf(**itr));
    delete *itr;
    m_items.erase(itr);
}

void LocalAppListModel::PrivateModifyItem(RemoteAppListItem oldItem, RemoteAppListItem newItem) {
    const auto at = static_cast<std::size_t>(Find(m_items, oldItem) - m_items.begin());
    if (at == m_items.size()) return;
    RemoteAppListItem* const replaced = m_items[at];
    const std::size_t bytes = BytesOf(newItem);
    const std::size_t before = BytesOf(*replaced);
    if (bytes > before && !HasRoomFor("ModifyItem", 0, bytes - before)) return;
    MakeRoom(m_items, 1);  // in case that nobody knows for a while which of the two the model holds
    auto owned = std::make_unique<RemoteAppListItem>(std::move(newItem));
    APPLIST_LOG(kDebug, "Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                replaced->VisibleName().c_str(), replaced->UniqueId().c_str(),
                owned->VisibleName().c_str(), owned->UniqueId().c_str());
    // Leaked, not freed, if the model throws anything but bad_alloc: the model may have kept it.
    RemoteAppListItem* const item = owned.release();
    try {
        m_appList->ModifyItem(replaced, item);
    } catch (const std::bad_alloc&) {
        m_items.insert(m_items.begin() + static_cast<std::ptrdiff_t>(at) + 1, item);
        m_bytes += bytes;
        HoldInDoubt(at, at + 2);
        throw;
    }
    GiveBack(before);
    m_bytes += bytes;
    delete replaced;
    m_items[at] = item;
}

// The application may have changed items where they are, to any length, so the count is not always
// right: nobody is refused over it before it is made anew.
bool LocalAppListModel::HasRoomFor(const char* call, std::size_t items, std::size_t bytes) {
    // A list that ran out of memory may hold more than the limits, see Settle.
    const std::size_t present = m_items.size();
    const bool fit = present <= m_limits.items && items <= m_limits.items - present;
    const auto bytesFit = [&] {
        return m_bytes <= m_limits.bytes && bytes <= m_limits.bytes - m_bytes;
    };
    if (fit && !bytesFit()) m_bytes = BytesOf(m_items);
    if (fit && bytesFit()) return true;
    APPLIST_LOG(kError, "%s refused at a limit: partners have %zu of %zu items, %zu of %zu bytes",
                call, present, m_limits.items, m_bytes, m_limits.bytes);
    return false;
}

// No more than are counted: the item may have grown since.
void LocalAppListModel::GiveBack(std::size_t bytes) {
    m_bytes -= std::min(m_bytes, bytes);
}

// REQUIRES: there is room for it.
void LocalAppListModel::Append(RemoteAppListItem* item) {
    m_items.push_back(item);
    m_bytes += BytesOf(*item);
}

void LocalAppListModel::HoldInDoubt(std::size_t begin, std::size_t end) {
    m_doubtBegin = begin;
    m_doubtEnd = end;
    Settle();
}

void LocalAppListModel::Settle() {
    if (m_doubtBegin == m_doubtEnd) return;
    vector<AppListItem*> listed = m_appList->GetAllItems();
    std::sort(listed.begin(), listed.end(), std::less<AppListItem*>());
    const auto freeUnlessListed = [&](RemoteAppListItem* item) {
        if (std::binary_search(listed.begin(), listed.end(), item, std::less<AppListItem*>())) {
            return false;
        }
        GiveBack(BytesOf(*item));
        delete item;
        return true;
    };
    const auto begin = m_items.begin() + static_cast<std::ptrdiff_t>(m_doubtBegin);
    const auto end = m_items.begin() + static_cast<std::ptrdiff_t>(m_doubtEnd);
    m_items.erase(std::remove_if(begin, end, freeUnlessListed), end);
    m_doubtEnd = m_doubtBegin;
}
