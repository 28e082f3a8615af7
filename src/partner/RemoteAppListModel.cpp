#include "partner/RemoteAppListModel.h"

#include <utility>

#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "common/Guarded.h"
#include "common/ItemText.h"
#include "common/ItemTextWriter.h"

namespace applist {

using logging::kError;
using std::chrono::milliseconds;
using Cause = RemoteError::Cause;

namespace {

const char kEndpoint[] = "Applist: ";

// What a failed read means to the caller of Synchronize, when no write has failed: that a call may
// or may not have been executed matters for a write, and not for a read.
RemoteError WhyNotRead(const RemoteError& failure, bool afterWrites) {
    const std::string start = kEndpoint;
    switch (failure.GetCause()) {
        case Cause::OutcomeUnknown:
            return RemoteError(Cause::NoService,
                               start + "the service went away" +
                                   (afterWrites ? " after it had carried out the writes" : "") +
                                   "; wait until it is back, or start it");
        case Cause::TimedOut:
            if (afterWrites) return failure;
            return RemoteError(Cause::TimedOut,
                               start + "no answer in time; try again, or allow more time");
        default: return failure;
    }
}

// The channel appends the message's id to its text: room for it saves a copy of the whole.
constexpr std::size_t kIdSize = sizeof(IPCApplist<TesselDbusRemote, RemoteAppListModel>::byteint);

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

// If one listener throws, the others are still told: they may hold pointers to items that are gone.
template <class Listener, class Call>
void TellAll(const ListenerList<Listener>& listeners, Call call) {
    listeners.ForEach(
        [&call](Listener* each) { Guarded("telling a listener", [&] { call(each); }); });
}

}  // namespace

void RemoteAppListModel::Channel::HandleConnectionReady(bool state, const std::string& partner) {
    RemoteAppListModel& model = m_model;  // a listener may destroy the model, and this with it
    IPCApplist::HandleConnectionReady(state, partner);
    if (!state) model.OnServiceGone();
}

void RemoteAppListModel::Channel::PostRequest(int messageId, ReplyHandler onReply) {
    PostMessage(messageId, {}, std::move(onReply));
}

std::chrono::microseconds RemoteAppListModel::Channel::Now() const {
    return IPCApplist::Now();
}

void RemoteAppListModel::Channel::CallLater(std::chrono::microseconds delay,
                                            std::function<void()> callback) {
    IPCApplist::CallLater(delay, std::move(callback));
}

void RemoteAppListModel::Channel::ReplicaChanged(const Replica::Change& change) {
    m_model.Tell(change, false);
}

RemoteAppListModel::RemoteAppListModel() : m_IPC(*this), m_fetcher(m_replica, m_IPC) {
    m_IPC.RegisterOnNotification(this, &RemoteAppListModel::OnNotification);
    m_IPC.RegisterOnConnectionReady(this, &RemoteAppListModel::OnConnectionReady);
}

RemoteAppListModel::~RemoteAppListModel() {
    m_IPC.UnregisterOnNotification(this);
    m_IPC.UnregisterOnConnectionReady(this);
}

// ---- Reads --------------------------------------------------------------------------------------

AppListItem* RemoteAppListModel::GetSelection() {
    return m_replica.GetSelection();
}

std::vector<AppListItem*> RemoteAppListModel::GetAllItems() {
    return m_replica.GetAllItems();
}

int RemoteAppListModel::GetItemsCount() {
    return static_cast<int>(m_replica.Count());
}

// ---- Writes -------------------------------------------------------------------------------------

void RemoteAppListModel::SetSelection(AppListItem* selection) {
    Write(APPLIST_SET_SELECTION_FNC, TextOf({selection}));
}

void RemoteAppListModel::SetClicked(AppListItem* clicked) {
    Write(APPLIST_SET_CLICKED_FNC, TextOf({clicked}));
}

void RemoteAppListModel::RemoveAllItems() {
    Write(APPLIST_REMOVE_ALL_ITEMS_FNC, TextOf({}));
}

void RemoteAppListModel::AddItems(const std::vector<AppListItem*>& items) {
    Write(APPLIST_ADD_ITEMS_FNC, TextOf(items));
}

void RemoteAppListModel::AddItemAtEnd(AppListItem* item) {
    Write(APPLIST_ADD_ITEM_AT_END_FNC, TextOf({item}));
}

void RemoteAppListModel::RemoveItem(AppListItem* item) {
    Write(APPLIST_REMOVE_ITEM_FNC, TextOf({item}));
}

void RemoteAppListModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
    Write(APPLIST_MODIFY_ITEM_FNC, TextOf({oldItem, newItem}));
}

// `this` is safe in the handler: the transport drops its handlers when the model goes.
void RemoteAppListModel::Write(int messageId, std::vector<char> payload) {
    m_IPC.PostMessage(messageId, std::move(payload),
                      [this](RemoteReply& reply) { OnWritten(reply); });
    m_hasWritten = true;
}

// Only the first failure and a count are kept: a UI that never synchronizes must not pile them up.
void RemoteAppListModel::OnWritten(const RemoteReply& reply) {
    if (!reply.error) return;
    if (m_writeFailure) {
        ++m_moreWriteFailures;
        return;
    }
    m_writeFailure = reply.error;
    APPLIST_LOG(kError, "a write failed: %s", reply.error->what());
}

void RemoteAppListModel::SetTimeout(milliseconds timeout) {
    m_IPC.SetTimeout(timeout);
}

void RemoteAppListModel::SetStartsService(bool starts) {
    m_IPC.SetStartsService(starts);
}

void RemoteAppListModel::Synchronize() {
    const std::weak_ptr<void> alive = m_alive;
    std::optional<RemoteError> failure;
    try {
        ReadNow();
        // The read is refused when too many writes wait in front of it. They have left by now.
        const std::optional<RemoteError>& refusal = m_fetcher.WhyNotReadNow();
        if (refusal && refusal->GetCause() == Cause::TooMuch) ReadNow();
    } catch (const RemoteError& error) {
        if (alive.expired()) throw;  // a listener destroyed the model during the wait
        failure = error;
    }
    // A failed write is thrown rather than a failed read: the read can simply be repeated.
    const bool afterWrites = std::exchange(m_hasWritten, false);
    ThrowFailures();
    if (failure) throw WhyNotRead(*failure, afterWrites);
    if (m_fetcher.WhyNotReadNow()) throw RemoteError(*m_fetcher.WhyNotReadNow());
}

// Waiting is one more call: replies come in order, so when its reply is there, all those before it
// are, too.
void RemoteAppListModel::ReadNow() {
    m_fetcher.ReadNow();
    m_IPC.SendMessage(APPLIST_GET_SELECTION_FNC, nullptr, 0);
}

void RemoteAppListModel::ThrowFailures() {
    if (!m_writeFailure) return;
    const RemoteError first = *std::exchange(m_writeFailure, std::nullopt);
    const std::size_t more = std::exchange(m_moreWriteFailures, 0);
    if (more == 0) throw RemoteError(first);
    throw RemoteError(first.GetCause(),
                      std::string(first.what()) + " (and " + std::to_string(more) +
                          (more == 1 ? " more write" : " more writes") + " failed)");
}

// ---- Following the service ----------------------------------------------------------------------

// The listeners are told of the service even when its list could not be asked for.
void RemoteAppListModel::OnConnectionReady(const std::string&) {
    const bool appeared = !IsServiceThere();
    Guarded("reading the list", [this] { m_fetcher.ServiceIsThere(); });
    if (appeared) Tell(Replica::Change(), true);
}

void RemoteAppListModel::OnServiceGone() {
    const bool left = IsServiceThere();
    m_fetcher.ServiceIsGone();
    // Held here until all have been told: it owns the items that listeners may still point to.
    const Replica::Change change = m_replica.Clear();
    Tell(change, left);
}

// The service's announcement is ignored: the connection itself reports that the service is there,
// and that is when the list is read.
void RemoteAppListModel::OnNotification(int messageId, const std::vector<char>&) {
    switch (messageId) {
        case APPLIST_ITEM_CHANGE_EVENT: m_fetcher.ListHasChanged(); break;
        case APPLIST_ITEM_SELECTION_EVENT: m_fetcher.SelectionHasChanged(); break;
        case APPLIST_ITEM_CLICKED_EVENT:
            TellAll(m_clickListeners, [this](ItemClickListener* each) { each->ItemClicked(this); });
            break;
        default: break;
    }
}

// Any listener may destroy the model, and with it the lists of listeners, so each step looks first.
void RemoteAppListModel::Tell(const Replica::Change& change, bool serviceChanged) {
    const std::weak_ptr<void> alive = m_alive;
    if (change.items) {
        TellAll(m_changeListeners, [this](ItemChangeListener* each) { each->ItemChanged(this); });
    }
    if (change.selection && !alive.expired()) {
        TellAll(m_selectionListeners,
                [this](ItemSelectionListener* each) { each->ItemSelected(this); });
    }
    if (serviceChanged && !alive.expired()) {
        TellAll(m_serviceListeners, [this](ServiceListener* each) { each->ServiceChanged(this); });
    }
}

// ---- Listeners ----------------------------------------------------------------------------------

void RemoteAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
    m_selectionListeners.Remove(listener);
}

void RemoteAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
    m_changeListeners.Remove(listener);
}

void RemoteAppListModel::AddItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Add(listener);
}

void RemoteAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
    m_clickListeners.Remove(listener);
}

void RemoteAppListModel::AddServiceListener(ServiceListener* listener) {
    m_serviceListeners.Add(listener);
}

void RemoteAppListModel::RemoveServiceListener(ServiceListener* listener) {
    m_serviceListeners.Remove(listener);
}

}  // namespace applist
