// SPDX-License-Identifier: MIT

// The process that owns the list: an application with a list of its own, and the real service
// around it.

#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "applist/LocalAppListModel.h"
#include "partner/BookkeepingList.h"
#include "sim/Program.h"
#include "sim/Versions.h"
#include "sim/Wire.h"

namespace sim {

// The application's list. Remembers what it has shown. For itself it always has memory; the service
// may lack some when it is told of a change, which must not show here.
class ServiceList : public BookkeepingList,
                    private ItemChangeListener,
                    private ItemSelectionListener,
                    private ItemClickListener {
public:
    ServiceList(World& world, const Complain& complain);

    void SetSelection(AppListItem* selection) override;
    std::vector<AppListItem*> GetAllItems() override;
    void SetClicked(AppListItem* clicked) override;
    void RemoveAllItems() override;
    void AddItems(const std::vector<AppListItem*>& items) override;
    void AddItemAtEnd(AppListItem* item) override;
    void RemoveItem(AppListItem* item) override;
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
    void AddItemSelectionListener(ItemSelectionListener* listener) override;
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
    void AddItemChangeListener(ItemChangeListener* listener) override;
    void RemoveItemChangeListener(ItemChangeListener* listener) override;
    void AddItemClickedListener(ItemClickListener* listener) override;
    void RemoveItemClickedListener(ItemClickListener* listener) override;

    // Raises more events than the bus library may hold when a partner adds an item.
    bool m_isChatty = false;

    // A connection on which calls come in: one of a partner with one of the service.
    struct Connection {
        std::string name;
        std::function<bool()> isOpen;  // at the service
    };

    // A call is on its way here.
    void Expect(const WireMessage& call, const Connection& over);

    void Note();
    const Versions& Past() const { return m_versions; }
    // When the application said last that an item was clicked.
    Usec LastClick() const { return m_lastClick; }

private:
    std::string ConnectionOf(const std::string& write) override;
    void ItemChanged(AppListModel*) override;
    void ItemSelected(AppListModel*) override;
    void ItemClicked(AppListModel*) override;
    void Tell(const std::function<void()>& listener);
    void Chat();

    World& m_world;
    const Complain m_complain;
    Versions m_versions;
    Usec m_lastClick = 0;
    std::map<std::string, Connection> m_sent;  // by the write's name
    // The service's.
    applist::ListenerList<ItemChangeListener> m_changeListeners;
    applist::ListenerList<ItemSelectionListener> m_selectionListeners;
    applist::ListenerList<ItemClickListener> m_clickListeners;
};

class Service : public Program {
public:
    Service(World& world, const Complain& complain);

    bool IsUp() const override { return m_model != nullptr; }
    ServiceList& List() { return m_list; }
    // For signatures: no two models of partners have the same.
    std::size_t NewPartnerId() { return ++m_partnersSoFar; }
    // What partners must show once all is quiet.
    Content Truth();

    // The application edits its list. `name` and `id` are for items that this adds.
    void Edit(std::uint64_t what, std::uint64_t where, const std::string& name,
              const std::string& id);

private:
    void Open() override;
    void Close() override;
    void EditNow(std::uint64_t what, std::uint64_t where, const std::string& name,
                 const std::string& id);

    ServiceList m_list;
    std::unique_ptr<LocalAppListModel> m_model;
    std::size_t m_partnersSoFar = 0;
};

}  // namespace sim
