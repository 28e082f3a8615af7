#include <sys/mman.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "Following.h"
#include "Interleaved.h"
#include "Partner.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr double kMostReads = 5;
constexpr std::chrono::seconds kBurstTimeout{60};
// Longer than a replica ever puts a fetch off: what follows a burst has followed by then.
constexpr std::chrono::milliseconds kQuiet{1500};

struct Figures {
    std::vector<double> reads;
    std::vector<double> lasted;  // milliseconds: from the request for the burst to its last change
    std::vector<double> behind;  // milliseconds: from that change until the replica shows it
};

double Milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

void MeasureOne(Following& partner, BurstTally& tally, int bursts, Figures& figures) {
    const std::vector<PlainItem> expected = ListAfterBursts(bursts);
    RemoteAppListItem start;
    tally.reads = 0;
    const Clock::time_point begin = Clock::now();
    partner.Model().SetSelection(&start);
    if (!partner.RunUntil([&] { return AreSame(partner.Items(), expected); }, kBurstTimeout)) {
        throw std::runtime_error("the replica does not become equal to the list");
    }
    const Clock::time_point end = Clock::now();
    const Clock::time_point last{std::chrono::nanoseconds(tally.lastChangeNanoseconds)};
    partner.RunUntil([] { return false; }, kQuiet);
    RequireSame(partner.Items(), expected);
    figures.reads.push_back(tally.reads);
    figures.lasted.push_back(Milliseconds(last - begin));
    figures.behind.push_back(Milliseconds(end - last));
}

void PrintLine(const char* what, const std::vector<double>& values) {
    const auto extremes = std::minmax_element(values.begin(), values.end());
    std::printf("%-45s %10.1f   (%.1f-%.1f)", what, Median(values), *extremes.first,
                *extremes.second);
}

void Print(const Figures& figures) {
    std::printf("\nMedians of %d bursts of %d change events, each its own turn of the loop\n",
                kRounds, kBurstChanges);
    PrintLine("fetches of the list, as the service counts", figures.reads);
    const double most = *std::max_element(figures.reads.begin(), figures.reads.end());
    std::printf("   target %.0f at most  %s\n", kMostReads,
                most <= kMostReads ? "PASS" : "over target");
    PrintLine("ms that a burst lasts at the service", figures.lasted);
    std::printf("\n");
    PrintLine("ms until the replica equals the list then", figures.behind);
    std::printf("\n");
    std::fflush(stdout);
}

}  // namespace

SharedTally::SharedTally() {
    void* const memory = mmap(nullptr, sizeof(BurstTally), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory to share");
    m_tally = new (memory) BurstTally;
}

SharedTally::~SharedTally() {
    munmap(m_tally, sizeof(BurstTally));
}

Burst::Burst()
    : m_list([this](int readyFd) { RunBurstList(m_bus.Address(), *m_tally, readyFd); }) {}

void Burst::Measure() const {
    Following partner(m_bus.Address());
    partner.Model().Synchronize();
    Figures figures;
    for (int burst = 1; burst <= kRounds; ++burst) {
        MeasureOne(partner, *m_tally, burst, figures);
    }
    Print(figures);
}

}  // namespace bench
