// SPDX-License-Identifier: MIT

// The service object: publishes an application's list to its partners, other processes.
//
// It wraps the application's own model. Local reads, the selection, clicks and listeners pass
// through to that model; its own list mutators only log that they are not implemented, since the
// list changes by the partner's calls or by the application working on its model directly.
//
// Threads: no lock. Construction, destruction, the wrapped model's events and the transport's
// callbacks all happen on the thread of the main loop, one at a time.
// Lifetime: the wrapped model outlives this object, which owns every item that it creates on the
// partner's behalf. Destruction frees those items and leaves the wrapped model's list alone: an
// application that keeps its model longer empties it of the partner's items first.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "applist/ServiceLimits.h"
#include "common/Export.h"
#include "ipc/IPCApplist.h"
#include "ipc/TesselDbusLocal.h"

class APPLIST_EXPORT LocalAppListModel : public AppListModel,
                                         public ItemSelectionListener,
                                         public ItemChangeListener,
                                         public ItemClickListener {
public:
    // Brings the channel up and listens to `appList`; what partners add keeps to the limits that
    // are set now (applist/ServiceLimits.h). Sends nothing: the partner hears of the service when
    // the transport reports its connection. Throws what the transport's constructor throws.
    // REQUIRES: `appList` is not null.
    explicit LocalAppListModel(AppListModel* appList);
    ~LocalAppListModel() override;

    LocalAppListModel(const LocalAppListModel&) = delete;
    LocalAppListModel& operator=(const LocalAppListModel&) = delete;

    // Passed on to the wrapped model unchanged, as are all calls below that say nothing else.
    void SetSelection(AppListItem* selection) override;
    AppListItem* GetSelection() override;
    std::vector<AppListItem*> GetAllItems() override;
    void SetClicked(AppListItem* clicked) override;

    // Not implemented: each logs that and does nothing. GetItemsCount returns 0 whatever the
    // wrapped model holds.
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
    int GetItemsCount() override;

    // A listener added here is added to the wrapped model, and gets that model as its argument.
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

private:
    // Events of the wrapped model, passed on to the partner. The argument is ignored. Nothing is
    // thrown: the model would take it for a failure of what it has done already.
    void ItemSelected(AppListModel* applist) override;
    void ItemChanged(AppListModel* applist) override;
    void ItemClicked(AppListModel* applist) override;

    // Announces the service to `partner`.
    void OnConnectionReady(const std::string& partner);

    // Executes one remote call and returns its reply, which never tells success from failure.
    std::vector<char> OnMessageReceive(int messageId, const std::vector<char>& messageData);

    // Remove, or replace by a copy of `newItem`, the first received item with the id of the first
    // argument; nothing happens when there is none.
    void PrivateRemoveItem(RemoteAppListItem item);
    void PrivateModifyItem(RemoteAppListItem oldItem, RemoteAppListItem newItem);

    // Needs no memory but the transport's: what an event tells of has happened already.
    void SendEvent(int event, const std::string& partner);

    // Whether the limits allow that much more; logs it when they do not.
    bool HasRoomFor(const char* call, std::size_t items, std::size_t bytes);
    void GiveBack(std::size_t bytes);

    void Append(RemoteAppListItem* item);

    // The model ran out of memory in a call that gave it the items of the registry from `begin` to
    // `end`: it may or may not hold them. Settle asks it for its list and frees those that it does
    // not hold; until it has, no call reaches the registry. Throws what the model throws.
    void HoldInDoubt(std::size_t begin, std::size_t end);
    void Settle();

    // First, so that it exists before any event can come and is destroyed last.
    IPCApplist<TesselDbusLocal, LocalAppListModel> m_IPC;
    AppListModel* m_appList;
    const applist::ServiceLimits m_limits;
    std::size_t m_bytes = 0;  // names and ids of the items below
    std::size_t m_doubtBegin = 0;
    std::size_t m_doubtEnd = 0;
    std::vector<char> m_eventBody;  // room for the next event's
    // Last. The items received from the partner, owned, in order of arrival. Ids may repeat.
    std::vector<RemoteAppListItem*> m_items;
};
