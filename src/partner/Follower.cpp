// SPDX-License-Identifier: MIT

#include "partner/Follower.h"

#include <algorithm>
#include <utility>

#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "common/Guarded.h"
#include "common/Joined.h"

namespace applist {

using logging::kError;
using Cause = RemoteError::Cause;

namespace {

// What a failed read means to the caller of Synchronize, when no write has failed: that a call may
// or may not have been executed matters for a write, and not for a read.
RemoteError WhyNotRead(const RemoteError& failure, bool afterWrites) {
    switch (failure.GetCause()) {
        case Cause::OutcomeUnknown:
            return RemoteError(Cause::NoService,
                               Joined({"Applist: the service went away",
                                       afterWrites ? " after it had carried out the writes" : "",
                                       "; wait until it is back, or start it"}));
        case Cause::TimedOut:
            if (afterWrites) return failure;
            return RemoteError(Cause::TimedOut,
                               "Applist: no answer in time; try again, or allow more time");
        default: return failure;
    }
}

FailedWrite::Operation OperationOf(int messageId) {
    using Operation = FailedWrite::Operation;
    switch (messageId) {
        case APPLIST_SET_SELECTION_FNC: return Operation::Select;
        case APPLIST_SET_CLICKED_FNC: return Operation::Click;
        case APPLIST_REMOVE_ALL_ITEMS_FNC: return Operation::RemoveAll;
        case APPLIST_REMOVE_ITEM_FNC: return Operation::Remove;
        case APPLIST_MODIFY_ITEM_FNC: return Operation::Replace;
        default: return Operation::Add;
    }
}

// What will be told if the write fails, but for the reason.
FailedWrite WriteOf(int messageId, const std::vector<AppListItem*>& items) {
    const FailedWrite::Operation operation = OperationOf(messageId);
    const std::size_t most = operation == FailedWrite::Operation::Add ? items.size() : 1;
    return {operation, items.empty() ? RemoteAppListItem() : RemoteAppListItem(*items.front()),
            std::min(items.size(), most), RemoteError(Cause::Failed, std::string())};
}

// If one listener throws, the others are still told: they may hold pointers to items that are gone.
template <class Listener, class Call>
void TellAll(const ListenerList<Listener>& listeners, Call call) {
    listeners.ForEach(
        [&call](Listener* each) { Guarded("telling a listener", [&] { call(each); }); });
}

}  // namespace

void Follower::Channel::HandleConnectionReady(bool state, const std::string& partner) {
    Follower& follower = m_follower;  // a listener may destroy the model, and this with it
    IPCApplist::HandleConnectionReady(state, partner);
    if (!state) follower.OnServiceGone();
}

void Follower::Channel::PostRequest(int messageId, ReplyHandler onReply) {
    PostMessage(messageId, {}, std::move(onReply));
}

std::chrono::microseconds Follower::Channel::Now() const {
    return IPCApplist::Now();
}

void Follower::Channel::CallLater(std::chrono::microseconds delay, std::function<void()> callback) {
    IPCApplist::CallLater(delay, std::move(callback));
}

void Follower::Channel::ReplicaChanged(const Replica::Change& change) {
    m_follower.Tell(change, false);
}

Follower::Follower(RemoteAppListModel* model)
    : m_model(model), m_IPC(*this), m_fetcher(m_replica, m_IPC) {
    m_IPC.RegisterOnNotification(this, &Follower::OnNotification);
    m_IPC.RegisterOnConnectionReady(this, &Follower::OnConnectionReady);
}

Follower::~Follower() {
    m_IPC.UnregisterOnNotification(this);
    m_IPC.UnregisterOnConnectionReady(this);
}

// ---- Writes -------------------------------------------------------------------------------------

// `this` is safe in the handler: the transport drops its handlers when the model goes.
void Follower::Write(int messageId, const std::vector<AppListItem*>& items,
                     std::vector<char> payload) {
    const std::weak_ptr<void> alive = m_alive;
    m_IPC.PostMessage(messageId, std::move(payload), HandlerOf(messageId, items));
    if (!alive.expired()) m_hasWritten = true;  // a listener may have destroyed the model
}

// The item is kept only for those who want to hear of it: it may be megabytes.
ReplyHandler Follower::HandlerOf(int messageId, const std::vector<AppListItem*>& items) {
    if (m_ofWrites.IsEmpty()) return [this](RemoteReply& reply) { OnWritten(reply); };
    const auto write = std::make_shared<FailedWrite>(WriteOf(messageId, items));
    return [this, write](RemoteReply& reply) {
        OnWritten(reply);
        if (!reply.error) return;
        write->error = *reply.error;
        TellAll(m_ofWrites, [&](WriteListener* each) { each->WriteFailed(m_model, *write); });
    };
}

// Only the first failure and a count are kept: a UI that never synchronizes must not pile them up.
void Follower::OnWritten(const RemoteReply& reply) {
    if (!reply.error) return;
    if (m_writeFailure) {
        ++m_moreWriteFailures;
        return;
    }
    m_writeFailure = reply.error;
    APPLIST_LOG(kError, "a write failed: %s", reply.error->what());
}

void Follower::Synchronize() {
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
void Follower::ReadNow() {
    m_fetcher.ReadNow();
    m_IPC.SendMessage(APPLIST_GET_SELECTION_FNC, nullptr, 0);
}

void Follower::ThrowFailures() {
    if (!m_writeFailure) return;
    const RemoteError first = *std::exchange(m_writeFailure, std::nullopt);
    const std::size_t more = std::exchange(m_moreWriteFailures, 0);
    if (more == 0) throw RemoteError(first);
    throw RemoteError(first.GetCause(),
                      Joined({first.what(), " (and ", Decimal(more),
                              more == 1 ? " more write" : " more writes", " failed)"}));
}

// ---- Following the service ----------------------------------------------------------------------

// The listeners are told of the service even when its list could not be asked for.
void Follower::OnConnectionReady(const std::string&) {
    const bool appeared = !IsServiceThere();
    Guarded("reading the list", [this] { m_fetcher.ServiceIsThere(); });
    if (appeared) Tell(Replica::Change(), true);
}

void Follower::OnServiceGone() {
    const bool left = IsServiceThere();
    m_fetcher.ServiceIsGone();
    // Held here until all have been told: it owns the items that listeners may still point to.
    const Replica::Change change = m_replica.Clear();
    Tell(change, left);
}

void Follower::AddRowListener(RowListener* listener) {
    m_replica.FindRows(true);
    m_ofRows.Add(listener);
}

void Follower::RemoveRowListener(RowListener* listener) {
    m_ofRows.Remove(listener);
    if (m_ofRows.IsEmpty()) m_replica.FindRows(false);
}

// The service's announcement is ignored: the connection itself reports that the service is there,
// and that is when the list is read.
void Follower::OnNotification(int messageId, const std::vector<char>&) {
    switch (messageId) {
        case APPLIST_ITEM_CHANGE_EVENT: m_fetcher.ListHasChanged(); break;
        case APPLIST_ITEM_SELECTION_EVENT: m_fetcher.SelectionHasChanged(); break;
        case APPLIST_ITEM_CLICKED_EVENT:
            TellAll(m_ofClicks, [this](ItemClickListener* each) { each->ItemClicked(m_model); });
            break;
        default: break;
    }
}

// Any listener may destroy the model, and with it the lists of listeners, so each step looks first.
void Follower::Tell(const Replica::Change& change, bool serviceChanged) {
    const std::weak_ptr<void> alive = m_alive;
    const bool isRead = IsListRead();
    const bool readingChanged = std::exchange(m_wasListRead, isRead) != isRead;
    if (!change.rows.empty()) {
        TellAll(m_ofRows, [&](RowListener* each) { each->RowsChanged(m_model, change.rows); });
    }
    if (change.items && !alive.expired()) {
        TellAll(m_ofItems, [this](ItemChangeListener* each) { each->ItemChanged(m_model); });
    }
    if (change.selection && !alive.expired()) {
        TellAll(m_ofSelection,
                [this](ItemSelectionListener* each) { each->ItemSelected(m_model); });
    }
    if (readingChanged && !alive.expired()) {
        TellAll(m_ofReading, [this](ListReadListener* each) { each->ListReadChanged(m_model); });
    }
    if (serviceChanged && !alive.expired()) {
        TellAll(m_ofService, [this](ServiceListener* each) { each->ServiceChanged(m_model); });
    }
}

}  // namespace applist
