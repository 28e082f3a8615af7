// SPDX-License-Identifier: MIT

#include "FreshProcesses.h"

#include <cstdlib>
#include <string_view>
#include <unordered_map>

#include "BareBus.h"
#include "Following.h"
#include "FreshClock.h"
#include "NowNanoseconds.h"
#include "SimpleModel.h"
#include "applist/LocalAppListModel.h"
#include "applist/RemoteAppListItem.h"
#include "bus/BusSelection.h"
#include "bus/EndpointNames.h"
#include "common/AppListLog.h"
#include "common/AppListRemoteControl.h"
#include "platform/LinuxLog.h"

using applist::SelectBusAddress;
using applist::SetMinimumLogPriority;
using applist::UniqueBus;
using applist::UniqueMessage;
using applist::UniqueSource;
namespace endpoint_names = applist::endpoint_names;

namespace bench {

namespace {

constexpr char kEndpoint[] = "Applist";
// No other item's name begins so.
constexpr std::string_view kVersion = "Version ";
// LocalAppListModel asks its model three times for the selection when it answers one call.
constexpr int kAsksForOneSelection = 3;

// Where the item stands whose name is the version.
std::size_t PlaceOfVersion(const FreshCase& plan) {
    return plan.items / 2;
}

std::vector<PlainItem> FreshItems(const FreshCase& plan) {
    std::vector<PlainItem> items = SampleItems(plan.items);
    if (plan.event == FreshEvent::Change) {
        items[PlaceOfVersion(plan)].visibleName = std::string(kVersion) + "0";
    }
    return items;
}

// ---- The list -----------------------------------------------------------------------------------

class FreshList : public SimpleModel {
public:
    explicit FreshList(const FreshPlace& place)
        : SimpleModel(FreshItems(place.plan)),
          m_plan(place.plan),
          m_log(place.log),
          m_items(SimpleModel::GetAllItems()),
          m_shown(m_items[PlaceOfVersion(m_plan)]) {}

    void Start() {
        m_log.listReads = 0;
        m_selectionAsks = 0;
        m_log.selectionReads = 0;
        AwaitNext();
    }

    std::vector<AppListItem*> GetAllItems() override {
        ++m_log.listReads;
        return SimpleModel::GetAllItems();
    }

    AppListItem* GetSelection() override {
        m_log.selectionReads = ++m_selectionAsks / kAsksForOneSelection;
        m_log.lastServed = m_log.made.load();
        if (m_plan.event == FreshEvent::Change) return SimpleModel::GetSelection();
        return m_items[static_cast<std::size_t>(m_log.made) % m_items.size()];
    }

    void AddItemSelectionListener(ItemSelectionListener* listener) override {
        m_listener = listener;
    }
    void RemoveItemSelectionListener(ItemSelectionListener*) override { m_listener = nullptr; }

private:
    void AwaitNext() {
        m_next = CallAt(m_log.start + m_plan.DueAfterStart(m_log.made + 1), OnDue, this);
    }

    // One change a turn of the loop, also when the last turn took longer than the schedule allows.
    static int OnDue(sd_event_source*, std::uint64_t, void* userdata) {
        FreshList& self = *static_cast<FreshList*>(userdata);
        self.Advance();
        self.m_next.reset();
        if (self.m_log.made < self.m_plan.changes) self.AwaitNext();
        return 0;
    }

    void Advance() {
        const int version = m_log.made + 1;
        m_log.madeAt[version] = NowNanoseconds();
        m_log.made = version;
        if (m_plan.event == FreshEvent::Selection) {
            if (m_listener != nullptr) m_listener->ItemSelected(this);
            return;
        }
        RemoteAppListItem& next = m_turns[version % 2];
        next = RemoteAppListItem(std::string(kVersion) + std::to_string(version),
                                 m_shown->GetUnigueId());
        AppListItem* const before = m_shown;
        m_shown = &next;
        ModifyItem(before, &next);
    }

    const FreshCase m_plan;
    FreshLog& m_log;
    const std::vector<AppListItem*> m_items;
    AppListItem* m_shown;
    RemoteAppListItem m_turns[2];
    ItemSelectionListener* m_listener = nullptr;
    int m_selectionAsks = 0;
    UniqueSource m_next;
};

// ---- What a follower sees -----------------------------------------------------------------------

class Sight {
public:
    explicit Sight(const FreshPlace& place) : m_plan(place.plan), m_log(place.log) {
        int at = 0;
        for (const PlainItem& item : SampleItems(m_plan.items)) m_places[item.uniqueId] = at++;
    }

    void SeeName(const std::string& name) { See(std::atoi(name.c_str() + kVersion.size())); }

    // Every item is selected again and again; what was served last is not a whole turn ahead.
    void SeeSelected(const std::string& id) {
        const int count = static_cast<int>(m_plan.items);
        const int served = m_log.lastServed;
        const int ahead = (served % count - m_places.at(id) + count) % count;
        See(served - ahead);
    }

private:
    void See(int version) {
        if (version <= m_last || m_log.shown == kMaxFreshChanges) return;
        m_last = version;
        const int at = m_log.shown;
        m_log.shownVersion[at] = version;
        m_log.shownAt[at] = NowNanoseconds();
        m_log.shown = at + 1;
    }

    const FreshCase m_plan;
    FreshLog& m_log;
    std::unordered_map<std::string, int> m_places;
    int m_last = 0;
};

class ReplicaWatcher : public ItemChangeListener, public ItemSelectionListener {
public:
    explicit ReplicaWatcher(const FreshPlace& place)
        : m_sight(place), m_place(PlaceOfVersion(place.plan)) {}

    void ItemChanged(AppListModel* list) override {
        m_sight.SeeName(list->GetAllItems().at(m_place)->GetVisibleName());
    }
    void ItemSelected(AppListModel* list) override {
        m_sight.SeeSelected(list->GetSelection()->GetUnigueId());
    }

private:
    Sight m_sight;
    std::size_t m_place;
};

class BareFollower {
public:
    explicit BareFollower(const FreshPlace& place)
        : m_sight(place),
          m_function(place.plan.event == FreshEvent::Change ? APPLIST_GET_ALL_ITEMS_FNC
                                                            : APPLIST_GET_SELECTION_FNC),
          m_bus(OpenBus(place.address)) {
        const std::string match = "type='signal',path='" + endpoint_names::PathOf(kEndpoint) +
                                  "',interface='" + endpoint_names::kInterface + "',member='" +
                                  endpoint_names::kNotification + "'";
        Check(sd_bus_add_match(m_bus.get(), nullptr, match.c_str(), OnSignal, this));
        Check(sd_bus_attach_event(m_bus.get(), nullptr, SD_EVENT_PRIORITY_NORMAL));
    }

private:
    static int OnSignal(sd_bus_message*, void* userdata, sd_bus_error*) {
        BareFollower& self = *static_cast<BareFollower*>(userdata);
        sd_bus_message* made = nullptr;
        Check(sd_bus_message_new_method_call(
            self.m_bus.get(), &made, endpoint_names::BusNameOf(kEndpoint).c_str(),
            endpoint_names::PathOf(kEndpoint).c_str(), endpoint_names::kInterface, "Message"));
        const UniqueMessage call(made);
        Check(sd_bus_message_append_array(made, 'y', &self.m_function, sizeof(self.m_function)));
        Check(sd_bus_call_async(self.m_bus.get(), nullptr, made, OnReply, userdata, 0));
        return 0;
    }

    static int OnReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
        const void* bytes = nullptr;
        std::size_t size = 0;
        Check(sd_bus_message_read_array(reply, 'y', &bytes, &size));
        static_cast<BareFollower*>(userdata)->Take({static_cast<const char*>(bytes), size});
        return 1;
    }

    void Take(std::string_view text) {
        if (m_function == APPLIST_GET_ALL_ITEMS_FNC) {
            const std::string_view rest = text.substr(text.find(kVersion));
            return m_sight.SeeName(std::string(rest.substr(0, rest.find('\t'))));
        }
        const std::string_view id = text.substr(text.find('\t') + 1);
        m_sight.SeeSelected(std::string(id.substr(0, id.size() - 1)));
    }

    Sight m_sight;
    const std::int32_t m_function;
    UniqueBus m_bus;
};

}  // namespace

void RunFreshList(const FreshPlace& place, int readyFd) {
    SetMinimumLogPriority(applist::logging::kInfo);
    SelectBusAddress(place.address);
    FreshList model(place);
    const LocalAppListModel service(&model);
    const FreshClock clock(place.plan, place.log, place.startFd, place.log.serviceCpu,
                           [&model] { model.Start(); });
    ServeUntilKilled(readyFd);
}

void RunFreshReplica(const FreshPlace& place, int readyFd) {
    SetMinimumLogPriority(applist::logging::kInfo);
    Following partner(place.address, Way::Bus);
    partner.Model().Synchronize();
    ReplicaWatcher watcher(place);
    if (place.plan.event == FreshEvent::Change) {
        partner.Model().AddItemChangeListener(&watcher);
    } else {
        partner.Model().AddItemSelectionListener(&watcher);
    }
    const FreshClock clock(place.plan, place.log, place.startFd, place.log.followerCpu, nullptr);
    ServeUntilKilled(readyFd);
}

void RunBareFollower(const FreshPlace& place, int readyFd) {
    sd_event* loop = nullptr;
    Check(sd_event_default(&loop));
    const applist::UniqueEvent owner(loop);
    const BareFollower follower(place);
    const FreshClock clock(place.plan, place.log, place.startFd, place.log.followerCpu, nullptr);
    ServeUntilKilled(readyFd);
}

}  // namespace bench
