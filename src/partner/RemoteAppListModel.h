// The service's list, in the partner's process: an AppListModel that a UI uses like a local one.
//
// Reads come from a replica and never wait. The replica is as fresh as a screen can show: after a
// quiet time the first event makes it read at once. The next read comes at least 16 ms later, late
// enough that reading takes a twentieth of the time, but 1 s later at the latest. Now and then the
// replica is compared with the service, so that after any loss it equals the service's list within
// seconds. Writes are sent at once, in order, without waiting; Synchronize tells what became of
// them, and the replica shows them once the service's event has come.
//
// Threads: one, whose default sd-event loop it uses.
// Lifetime: a listener may remove itself, add others, write, or destroy the model from inside its
// call. Items handed out live until the listeners of the change that removed them have returned;
// an item that did not change keeps its address. Items passed in are read during the call only.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/ListenerList.h"
#include "ipc/IPCApplist.h"
#include "partner/Fetcher.h"
#include "partner/Replica.h"
#include "remote/TesselDbusRemote.h"

namespace applist {

class RemoteAppListModel;

class ServiceListener {
public:
    // The service of `applist` has appeared or gone: RemoteAppListModel::IsServiceThere tells
    // which.
    virtual void ServiceChanged(RemoteAppListModel* applist) = 0;

    virtual ~ServiceListener() {}
};

class RemoteAppListModel : public AppListModel {
public:
    // Connects to the selected bus (bus/BusSelection.h) and follows the endpoint "Applist", now or
    // when it appears. Waits for the bus to let it in, for 5 s at most unless SetBusTimeout says
    // otherwise, but never for a service. Throws TransportError when there is no bus.
    RemoteAppListModel();

    // Waits for the bus to take what was posted, for a second at most; with more than 62 calls
    // posted also for the service to execute those, as long as it answers each 63 within a second,
    // and for the timeout at most. Does not wait when nothing needs to be sent. Nobody learns what
    // became of it; Synchronize before, if that matters.
    ~RemoteAppListModel() override;

    RemoteAppListModel(const RemoteAppListModel&) = delete;
    RemoteAppListModel& operator=(const RemoteAppListModel&) = delete;

    // Reads. Without a service they return an empty item, no items and 0. Never null.
    AppListItem* GetSelection() override;
    std::vector<AppListItem*> GetAllItems() override;
    int GetItemsCount() override;

    // Writes, each one remote call. The service removes and replaces only what partners added,
    // ignores a selection that it does not know, and does not carry out clicks. The getters of an
    // item may be called more than once. When memory runs out, nothing of the write is sent:
    // std::bad_alloc is thrown, or, once the transport has taken the write, Synchronize throws.
    void SetSelection(AppListItem* selection) override;
    void SetClicked(AppListItem* clicked) override;
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;

    // Waits until every write so far has been executed and the replica shows the list after them,
    // for SetTimeout's time at most, or twice that when too many writes are waiting to be sent.
    // Listeners may be called meanwhile. Throws RemoteError: the first failure of a write since the
    // last call, or else why the list could not be read. A program that never runs the loop finds a
    // bus that was lost by calling this again.
    // REQUIRES: not called from inside a listener; there it fails at once.
    void Synchronize();

    // How long the service may take to answer any call, and so how long Synchronize waits; 5 s
    // unless this is called.
    void SetTimeout(std::chrono::milliseconds timeout);

    // Whether the bus is asked to start the service when it is not running: once for each
    // connection to the bus, and without waiting. True unless this is called.
    void SetStartsService(bool starts);

    // True while the service can be called. The replica may still be empty then: it fills when the
    // first read is answered.
    bool IsServiceThere() const { return m_fetcher.IsServiceThere(); }

    // Listeners are told once for each change that they can see in the replica: first of the items,
    // then of the selection. They are told of the service last.
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;
    void AddServiceListener(ServiceListener* listener);
    void RemoveServiceListener(ServiceListener* listener);

private:
    // The channel tells its handler only when a connection is ready; this one also tells the model
    // when it has gone. To the fetcher it stands for both the transport and the model.
    class Channel : public IPCApplist<TesselDbusRemote, RemoteAppListModel>, public FetchPort {
    public:
        explicit Channel(RemoteAppListModel& model) : m_model(model) {}
        void HandleConnectionReady(bool state, const std::string& partner) override;

        void PostRequest(int messageId, ReplyHandler onReply) override;
        std::chrono::microseconds Now() const override;
        void CallLater(std::chrono::microseconds delay, std::function<void()> callback) override;
        void ReplicaChanged(const Replica::Change& change) override;

    private:
        RemoteAppListModel& m_model;
    };

    void OnNotification(int messageId, const std::vector<char>& payload);
    void OnConnectionReady(const std::string& partner);
    void OnServiceGone();

    // Posts a write; OnWritten hears what became of it.
    void Write(int messageId, std::vector<char> payload);
    void OnWritten(const RemoteReply& reply);
    // Reads the list and waits for it, and so for every call before.
    void ReadNow();
    // Throws what is known of failed writes, and forgets it.
    void ThrowFailures();
    void Tell(const Replica::Change& change, bool serviceChanged);

    ListenerList<ItemSelectionListener> m_selectionListeners;
    ListenerList<ItemChangeListener> m_changeListeners;
    ListenerList<ItemClickListener> m_clickListeners;
    ListenerList<ServiceListener> m_serviceListeners;
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
