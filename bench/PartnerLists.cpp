// SPDX-License-Identifier: MIT

#include "PartnerLists.h"

#include "BareBus.h"
#include "NowNanoseconds.h"
#include "Rows.h"
#include "SimpleModel.h"
#include "applist/LocalAppListModel.h"
#include "applist/RemoteAppListItem.h"
#include "bus/BusSelection.h"
#include "common/AppListLog.h"
#include "platform/LinuxLog.h"

using applist::SelectBusAddress;
using applist::SetMinimumLogPriority;
using applist::UniqueSource;

namespace bench {

namespace {

void Serve(const std::string& address, AppListModel& model, int readyFd) {
    SetMinimumLogPriority(applist::logging::kInfo);
    SelectBusAddress(address);
    const LocalAppListModel service(&model);
    ServeUntilKilled(readyFd);
}

std::vector<PlainItem> Both(const TwoLists& two) {
    std::vector<PlainItem> all = two.lists[0];
    all.insert(all.end(), two.lists[1].begin(), two.lists[1].end());
    return all;
}

class ReplacedList : public SimpleModel {
public:
    explicit ReplacedList(const TwoLists& two) : SimpleModel(Both(two)) {
        const std::vector<AppListItem*> all = SimpleModel::GetAllItems();
        const auto middle = all.begin() + static_cast<std::ptrdiff_t>(two.lists[0].size());
        m_lists[0].assign(all.begin(), middle);
        m_lists[1].assign(middle, all.end());
    }

    std::vector<AppListItem*> GetAllItems() override { return m_lists[++m_reads % 2]; }
    AppListItem* GetSelection() override { return m_lists[m_reads % 2].front(); }

private:
    std::vector<AppListItem*> m_lists[2];
    std::size_t m_reads = 0;
};

class ClickedList : public SimpleModel {
public:
    explicit ClickedList(std::atomic<std::int64_t>& clickedAt)
        : SimpleModel(SampleItems(1)), m_clickedAt(clickedAt) {}

    void SetSelection(AppListItem*) override {
        m_clickedAt = NowNanoseconds();
        m_listener->ItemClicked(this);
    }
    void AddItemClickedListener(ItemClickListener* listener) override { m_listener = listener; }

private:
    std::atomic<std::int64_t>& m_clickedAt;
    ItemClickListener* m_listener = nullptr;
};

PlainItem ItemOfChange(int change) {
    const std::string number = std::to_string(change);
    return {"Changed " + number, "org.example.change." + number};
}

// Items come and go in pairs of objects that take turns in one place of the list.
class BurstList : public SimpleModel {
public:
    BurstList(BurstTally& tally, std::chrono::microseconds gap)
        : SimpleModel(SampleItems(kBurstItems)),
          m_tally(tally),
          m_gap(gap),
          m_shown(SimpleModel::GetAllItems()),
          m_spare(2 * kBurstItems) {}

    std::vector<AppListItem*> GetAllItems() override {
        ++m_tally.reads;
        return SimpleModel::GetAllItems();
    }

    void SetSelection(AppListItem*) override {
        m_changesLeft = kBurstChanges;
        AwaitTurn();
    }

private:
    void AwaitTurn() {
        sd_event_source* source = nullptr;
        if (m_gap.count() == 0) {
            Check(sd_event_add_defer(SD_EVENT_DEFAULT, &source, OnTurn, this));
        } else {
            Check(sd_event_add_time_relative(SD_EVENT_DEFAULT, &source, CLOCK_MONOTONIC,
                                             static_cast<std::uint64_t>(m_gap.count()),
                                             /* accuracy */ 1, OnTime, this));
        }
        m_turn.reset(source);
    }

    static int OnTurn(sd_event_source*, void* userdata) {
        static_cast<BurstList*>(userdata)->Change();
        return 0;
    }
    static int OnTime(sd_event_source* source, std::uint64_t, void* userdata) {
        return OnTurn(source, userdata);
    }

    void Change() {
        if (m_changesLeft == kBurstChanges) m_tally.firstChangeNanoseconds = NowNanoseconds();
        const std::size_t place = static_cast<std::size_t>(m_changes) % kBurstItems;
        const std::size_t turn = static_cast<std::size_t>(m_changes) / kBurstItems % 2;
        const PlainItem now = ItemOfChange(m_changes);
        RemoteAppListItem& item = m_spare[2 * place + turn];
        item = RemoteAppListItem(now.visibleName, now.uniqueId);
        ModifyItem(m_shown[place], &item);
        m_shown[place] = &item;
        ++m_changes;
        if (--m_changesLeft > 0) return AwaitTurn();
        m_turn.reset();
        m_tally.lastChangeNanoseconds = NowNanoseconds();
    }

    BurstTally& m_tally;
    const std::chrono::microseconds m_gap;
    std::vector<AppListItem*> m_shown;
    std::vector<RemoteAppListItem> m_spare;
    UniqueSource m_turn;
    int m_changes = 0;
    int m_changesLeft = 0;
};

}  // namespace

void RunReplacedList(const std::string& address, std::size_t count, int readyFd) {
    ReplacedList model{TwoLists(count)};
    Serve(address, model, readyFd);
}

void RunEditedList(const std::string& address, int readyFd) {
    SimpleModel model(SampleItems(1));
    Serve(address, model, readyFd);
}

void RunClickedList(const std::string& address, std::atomic<std::int64_t>& clickedAt, int readyFd) {
    ClickedList model(clickedAt);
    Serve(address, model, readyFd);
}

void RunBurstList(const std::string& address, BurstTally& tally, std::chrono::microseconds gap,
                  int readyFd) {
    BurstList model(tally, gap);
    Serve(address, model, readyFd);
}

std::vector<PlainItem> ListAfterBursts(int bursts) {
    std::vector<PlainItem> items;
    const int changes = bursts * kBurstChanges;
    for (int at = changes - static_cast<int>(kBurstItems); at < changes; ++at) {
        items.push_back(ItemOfChange(at));
    }
    return items;
}

}  // namespace bench
