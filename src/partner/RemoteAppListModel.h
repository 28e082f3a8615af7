// SPDX-License-Identifier: MIT

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
#include <memory>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/Export.h"
#include "partner/FailedWrite.h"
#include "partner/RowChange.h"
#include "remote/RemoteError.h"

namespace applist {

class Follower;
class RemoteAppListModel;

class APPLIST_EXPORT ServiceListener {
public:
    // The service of `applist` has appeared or gone: RemoteAppListModel::IsServiceThere tells
    // which.
    virtual void ServiceChanged(RemoteAppListModel* applist) = 0;

    virtual ~ServiceListener() {}
};

class APPLIST_EXPORT RowListener {
public:
    // The items of `applist` have changed: `changes`, one after another, turn the rows as they were
    // into those of GetAllItems. First rows are removed, from the last to the first; then some are
    // moved; then new ones are inserted and others renamed, both from the first to the last. When
    // all ids are different, fewer rows would not do. Of items with equal ids those with equal
    // names are taken to be the same, in their order, and then the others. Whatever a listener
    // throws, the next changes start from the rows after these.
    virtual void RowsChanged(RemoteAppListModel* applist,
                             const std::vector<RowChange>& changes) = 0;

    virtual ~RowListener() {}
};

class APPLIST_EXPORT ListReadListener {
public:
    // RemoteAppListModel::IsListRead is another one. When it has become true, the list is told of
    // first, if there is anything in it.
    virtual void ListReadChanged(RemoteAppListModel* applist) = 0;

    virtual ~ListReadListener() {}
};

class APPLIST_EXPORT WriteListener {
public:
    // A write of `applist` has failed. Called from the loop; or from inside the write, when it
    // could not even be sent. Synchronize throws the first failure all the same.
    virtual void WriteFailed(RemoteAppListModel* applist, const FailedWrite& write) = 0;

    virtual ~WriteListener() {}
};

class APPLIST_EXPORT RemoteAppListModel : public AppListModel {
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
    // ignores a selection that it does not know, and does not carry out clicks. Without a service a
    // write fails, and is not kept for the next one. The getters of an item may be called more than
    // once. When memory runs out, nothing of the write is sent:
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

    // True while the service can be called, as far as the loop has heard: the constructor does not
    // ask, and a program may write before. The replica may still be empty then: it fills when the
    // first read is answered.
    bool IsServiceThere() const;

    // Whether the list has been read since the service came: a list without items is empty then,
    // and not just on its way. False again when the service goes.
    bool IsListRead() const;

    // Listeners are told once for each change that they can see in the replica: first of the rows
    // and the items, then of the selection. Then they are told whether the list is read, and last
    // of the service. That a service has come is one change, and its list is another.
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;
    void AddServiceListener(ServiceListener* listener);
    void RemoveServiceListener(ServiceListener* listener);

    // The rows' changes are found, and the items of writes kept until they are answered, only while
    // somebody listens for them. So add these before the writes that they are to hear of. The first
    // RowsChanged starts from the rows that GetAllItems returned when the listener was added.
    void AddRowListener(RowListener* listener);
    void RemoveRowListener(RowListener* listener);
    void AddListReadListener(ListReadListener* listener);
    void RemoveListReadListener(ListReadListener* listener);
    void AddWriteListener(WriteListener* listener);
    void RemoveWriteListener(WriteListener* listener);

private:
    const std::unique_ptr<Follower> m_follower;
};

}  // namespace applist
