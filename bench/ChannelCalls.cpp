// SPDX-License-Identifier: MIT

#include <chrono>
#include <string>
#include <vector>

#include "Caller.h"
#include "Channel.h"
#include "Following.h"
#include "Interleaved.h"
#include "NowNanoseconds.h"
#include "PartnerLists.h"

namespace bench {

namespace {

constexpr std::size_t kWrites = 10000;
constexpr int kCallsForCpu = 100;
constexpr std::chrono::seconds kEventTimeout{5};

void AskSelection(Caller& caller) {
    caller.Call(APPLIST_GET_SELECTION_FNC, std::string());
}

void CompareCalls(Caller& direct, Caller& overBus) {
    const Rounds plan = {21, 10, 50};
    const Comparison result = Compare(
        plan, [&] { AskSelection(direct); }, [&] { AskSelection(overBus); });
    PrintTableHead(plan);
    PrintTableLine("2001", result);
}

void CompareCpu(const ChildProcess& service, Caller& direct, Caller& overBus) {
    const auto cpuOf = [&](Caller& caller) {
        const double before = service.UsedCpu();
        for (int call = 0; call < kCallsForCpu; ++call) AskSelection(caller);
        return (service.UsedCpu() - before) / kCallsForCpu;
    };
    const Rounds plan = {21, 5, 1};
    const Comparison result = CompareFigures(
        plan, [&] { return cpuOf(direct); }, [&] { return cpuOf(overBus); });
    PrintTableHead(plan, "x 100 calls, in microseconds of the service's CPU a call");
    PrintTableLine("2001", result);
}

void CompareWrites(Following& direct, Following& overBus) {
    const std::vector<PlainItem> plain = SampleItems(kWrites);
    std::vector<RemoteAppListItem> items = RemoteItems(plain);
    const Rounds plan = {21, 1, 1};
    const Comparison result = Compare(
        plan, [&] { direct.WriteAnew(items); }, [&] { overBus.WriteAnew(items); });
    RequireSame(direct.Items(), plain);
    RequireSame(overBus.Items(), plain);
    PrintTableHead(plan);
    PrintTableLine("10,000 writes", result);
}

class ClickWatch : public ItemClickListener {
public:
    ClickWatch(Following& partner, const std::atomic<std::int64_t>& clickedAt)
        : m_partner(partner), m_clickedAt(clickedAt) {
        m_partner.Model().AddItemClickedListener(this);
    }
    ~ClickWatch() override { m_partner.Model().RemoveItemClickedListener(this); }

    ClickWatch(const ClickWatch&) = delete;
    ClickWatch& operator=(const ClickWatch&) = delete;

    void ItemClicked(AppListModel*) override { m_heardAt = NowNanoseconds(); }

    // Has an item clicked. Returns the microseconds from then until this was told.
    double Delay() {
        RemoteAppListItem item;
        m_heardAt = 0;
        m_partner.Model().SetSelection(&item);
        if (!m_partner.RunUntil([this] { return m_heardAt > 0; }, kEventTimeout)) {
            throw std::runtime_error("a click is not heard");
        }
        return static_cast<double>(m_heardAt - m_clickedAt) / 1e3;
    }

private:
    Following& m_partner;
    const std::atomic<std::int64_t>& m_clickedAt;
    std::int64_t m_heardAt = 0;
};

void CompareEvents(ClickWatch& direct, ClickWatch& overBus) {
    const Rounds plan = {21, 10, 20};
    const Comparison result = CompareFigures(
        plan, [&] { return direct.Delay(); }, [&] { return overBus.Delay(); });
    PrintTableHead(plan, "clicks, in microseconds until a listener hears of one");
    PrintTableLine("a click", result);
}

}  // namespace

ChannelCalls::Side::Side()
    : list([this](int readyFd) { RunClickedList(bus.Address(), *clickedAt, readyFd); }) {}

ChannelCalls::ChannelCalls() = default;

void ChannelCalls::Measure() const {
    MeasureCalls();
    MeasureFollowing();
}

void ChannelCalls::MeasureCalls() const {
    Caller direct(m_direct.bus.Address(), Way::Channel);
    Caller overBus(m_direct.bus.Address(), Way::Bus);
    AwaitChannel(m_direct.bus, [&] { AskSelection(direct); });
    CompareCalls(direct, overBus);
    CompareCpu(m_direct.list, direct, overBus);
}

void ChannelCalls::MeasureFollowing() const {
    Following direct(m_direct.bus.Address(), Way::Channel);
    Following overBus(m_overBus.bus.Address(), Way::Bus);
    AwaitChannel(m_direct.bus, [&] { direct.Model().Synchronize(); });
    CompareWrites(direct, overBus);
    ClickWatch directWatch(direct, *m_direct.clickedAt);
    ClickWatch busWatch(overBus, *m_overBus.clickedAt);
    CompareEvents(directWatch, busWatch);
}

}  // namespace bench
