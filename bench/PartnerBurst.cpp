// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "Following.h"
#include "Interleaved.h"
#include "NowNanoseconds.h"
#include "Partner.h"

namespace bench {

namespace {

constexpr int kRounds = 15;
// A read each frame of a screen, one when the first event comes, and one after the last.
constexpr double kFrame = 16;
constexpr double kReadsBesides = 2;
constexpr double kMostBehind = 50;
constexpr std::chrono::seconds kBurstTimeout{60};
// Longer than a replica ever puts a fetch off: what follows a burst has followed by then.
constexpr std::chrono::milliseconds kQuiet{1500};

struct Figures {
    std::vector<double> reads;
    std::vector<double> excess;  // reads past what a burst of that length may cost
    std::vector<double> lasted;  // milliseconds: from the burst's first change to its last
    std::vector<double> behind;  // milliseconds: from the last one until the replica shows it
};

double Milliseconds(std::int64_t nanoseconds) {
    return static_cast<double>(nanoseconds) / 1e6;
}

// When the replica shows `expected`. It is looked at after a change only: the loop turns once for
// each event, and looking costs more than that.
class ShownWatch : public ItemChangeListener {
public:
    ShownWatch(Following& partner, const std::vector<PlainItem>& expected)
        : m_partner(partner), m_expected(expected) {
        m_partner.Model().AddItemChangeListener(this);
    }
    ~ShownWatch() override { m_partner.Model().RemoveItemChangeListener(this); }

    ShownWatch(const ShownWatch&) = delete;
    ShownWatch& operator=(const ShownWatch&) = delete;

    void ItemChanged(AppListModel*) override {
        if (AreSame(m_partner.Items(), m_expected)) m_at = NowNanoseconds();
    }

    std::int64_t At() const { return m_at; }

private:
    Following& m_partner;
    const std::vector<PlainItem>& m_expected;
    std::int64_t m_at = 0;
};

void MeasureOne(Following& partner, BurstTally& tally, int bursts, Figures& figures) {
    const std::vector<PlainItem> expected = ListAfterBursts(bursts);
    RemoteAppListItem start;
    const ShownWatch watch(partner, expected);
    tally.reads = 0;
    partner.Model().SetSelection(&start);
    if (!partner.RunUntil([&] { return watch.At() > 0; }, kBurstTimeout)) {
        throw std::runtime_error("the replica does not become equal to the list");
    }
    partner.RunUntil([] { return false; }, kQuiet);
    RequireSame(partner.Items(), expected);
    const double lasted = Milliseconds(tally.lastChangeNanoseconds - tally.firstChangeNanoseconds);
    figures.reads.push_back(tally.reads);
    figures.excess.push_back(tally.reads - std::ceil(lasted / kFrame) - kReadsBesides);
    figures.lasted.push_back(lasted);
    figures.behind.push_back(Milliseconds(watch.At() - tally.lastChangeNanoseconds));
}

void PrintLine(const char* what, const std::vector<double>& values) {
    const auto extremes = std::minmax_element(values.begin(), values.end());
    std::printf("%-45s %10.1f   (%.1f-%.1f)", what, Median(values), *extremes.first,
                *extremes.second);
}

void PrintTarget(const std::vector<double>& values, double target) {
    const double most = *std::max_element(values.begin(), values.end());
    std::printf("   target %.0f at most  %s\n", target, most <= target ? "PASS" : "over target");
}

// As fast as the service can, it writes the whole burst to its socket before the bus has passed the
// half of it on: then how late the last change is shown is the bus's affair, and has no target.
void Print(const Figures& figures, std::chrono::microseconds gap) {
    const bool isPaced = gap.count() > 0;
    std::printf("\nMedians of %d bursts of %d change events, %s\n", kRounds, kBurstChanges,
                isPaced ? ("one every " + std::to_string(gap.count()) + " us").c_str()
                        : "as fast as the service can");
    PrintLine("ms that a burst lasts at the service", figures.lasted);
    std::printf("\n");
    PrintLine("fetches of the list, as the service counts", figures.reads);
    std::printf("\n");
    PrintLine("the same, less one each 16 ms and two", figures.excess);
    PrintTarget(figures.excess, 0);
    PrintLine("ms until the replica equals the list then", figures.behind);
    if (isPaced) {
        PrintTarget(figures.behind, kMostBehind);
    } else {
        std::printf("\n");
    }
    std::fflush(stdout);
}

}  // namespace

Burst::Burst(std::chrono::microseconds gap)
    : m_gap(gap),
      m_list([this](int readyFd) { RunBurstList(m_bus.Address(), *m_tally, m_gap, readyFd); }) {}

void Burst::Measure() const {
    Following partner(m_bus.Address(), Way::Bus);
    partner.Model().Synchronize();
    Figures figures;
    for (int burst = 1; burst <= kRounds; ++burst) {
        MeasureOne(partner, *m_tally, burst, figures);
    }
    Print(figures, m_gap);
}

}  // namespace bench
