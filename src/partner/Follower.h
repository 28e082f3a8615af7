// SPDX-License-Identifier: MIT

// Follows the service for a model: keeps its replica and tells its listeners, sends its writes and
// knows what became of them.
//
// Lifetime: lives in its model, which a listener may destroy from inside its call.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/ListenerList.h"
#include "ipc/IPCApplist.h"
#include "partner/Fetcher.h"
#include "partner/RemoteAppListModel.h"
#include "partner/Replica.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class Follower {
public:
    // Listeners are told that `model` has changed.
    explicit Follower(RemoteAppListModel* model);
    ~Follower();
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    // Posts a write of `items`, whose text is `payload`; OnWritten hears what became of it.
    void Write(int messageId, const std::vector<AppListItem*>& items, std::vector<char> payload);
    void Synchronize();
    void SetTimeout(std::chrono::milliseconds timeout) { m_IPC.SetTimeout(timeout); }
    void SetStartsService(bool starts) { m_IPC.SetStartsService(starts); }
    bool IsServiceThere() const { return m_fetcher.IsServiceThere(); }
    bool IsListRead() const { return m_fetcher.IsListRead(); }
    const Replica& List() const { return m_replica; }
    // Throws std::bad_alloc.
    void AddRowListener(RowListener* listener);
    void RemoveRowListener(RowListener* listener);

    ListenerList<ItemSelectionListener>& OfSelection() { return m_ofSelection; }
    ListenerList<ItemChangeListener>& OfItems() { return m_ofItems; }
    ListenerList<ItemClickListener>& OfClicks() { return m_ofClicks; }
    ListenerList<ListReadListener>& OfReading() { return m_ofReading; }
    ListenerList<ServiceListener>& OfService() { return m_ofService; }
    ListenerList<WriteListener>& OfWrites() { return m_ofWrites; }

private:
    // The channel tells its handler only when a connection is ready; this one also tells when it
    // has gone. To the fetcher it stands for both the transport and the model.
    class Channel : public IPCApplist<TesselDbusRemote, Follower>, public FetchPort {
    public:
        explicit Channel(Follower& follower) : m_follower(follower) {}
        void HandleConnectionReady(bool state, const std::string& partner) override;

        void PostRequest(int messageId, ReplyHandler onReply) override;
        std::chrono::microseconds Now() const override;
        void CallLater(std::chrono::microseconds delay, std::function<void()> callback) override;
        void ReplicaChanged(const Replica::Change& change) override;

    private:
        Follower& m_follower;
    };

    void OnNotification(int messageId, const std::vector<char>& payload);
    void OnConnectionReady(const std::string& partner);
    void OnServiceGone();
    ReplyHandler HandlerOf(int messageId, const std::vector<AppListItem*>& items);
    void OnWritten(const RemoteReply& reply);
    // Reads the list and waits for it, and so for every call before.
    void ReadNow();
    // Throws what is known of failed writes, and forgets it.
    void ThrowFailures();
    void Tell(const Replica::Change& change, bool serviceChanged);

    RemoteAppListModel* const m_model;
    ListenerList<ItemSelectionListener> m_ofSelection;
    ListenerList<ItemChangeListener> m_ofItems;
    ListenerList<ItemClickListener> m_ofClicks;
    ListenerList<RowListener> m_ofRows;
    ListenerList<ListReadListener> m_ofReading;
    ListenerList<ServiceListener> m_ofService;
    ListenerList<WriteListener> m_ofWrites;
    bool m_wasListRead = false;  // when they were last told
    // Dies with the model: whatever goes on after a listener has returned looks at it first.
    const std::shared_ptr<void> m_alive = std::make_shared<int>();

    // Of the writes since the last Synchronize: whether there were any, the first failure, and how
    // many more failures came after it.
    bool m_hasWritten = false;
    std::optional<RemoteError> m_writeFailure;
    std::size_t m_moreWriteFailures = 0;

    Replica m_replica;
    // Safe to destroy after the fetcher, which it calls: it calls only from the loop.
    Channel m_IPC;
    Fetcher m_fetcher;
};

}  // namespace applist
