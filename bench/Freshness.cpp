// SPDX-License-Identifier: MIT

// How far behind a list its followers are, while it changes or its selection moves at rates that
// are known beforehand: the replica of a partner, and a bare follower beside it.
//
// Staleness is the age of the oldest change that a follower does not show, sampled each
// millisecond. A change counts from the moment in which the list's owner makes it, and is shown
// when the follower's listener has seen it, which for the bare one is when the reply is there.
//
// Each follower has a bus and a list of its own, with the same schedule, so that the reads and the
// CPU time of one are not counted for the other.

#include <cstdio>
#include <exception>
#include <string>

#include "Figures.h"
#include "FreshRun.h"
#include "Interleaved.h"
#include "NowNanoseconds.h"

namespace {

using bench::FreshCase;
using bench::FreshEvent;
using bench::Freshness;
using bench::FreshRun;
using bench::Judge;
using bench::Percentile;

// How long one run takes, and how often it is repeated. What is rare runs side by side, half a
// period apart: there is room for both. What is frequent takes turns.
struct Rate {
    int perSecond;
    int changes;
    int rounds;
    bool sideBySide;
};
constexpr Rate kRates[] = {
    {1, 10, 1, true}, {10, 60, 1, true}, {60, 150, 2, false}, {1000, 1500, 2, false}};
constexpr std::size_t kFew = 100;
constexpr std::size_t kMany = 10000;

// Until the processes have heard of the start, and what setting up has left to do is done.
constexpr std::int64_t kSettle = 300000000;

struct Pair {
    Freshness replica;
    Freshness bare;
};

Pair RunSideBySide(const FreshCase& plan) {
    FreshRun replica(plan, bench::RunFreshReplica);
    FreshRun bare(plan, bench::RunBareFollower);
    const std::int64_t start = bench::NowNanoseconds() + kSettle;
    replica.StartAt(start);
    bare.StartAt(start + plan.Period() / 2);
    const Freshness first = replica.Finish();
    return {first, bare.Finish()};
}

Freshness RunAlone(const FreshCase& plan, FreshRun::Follower follower) {
    FreshRun run(plan, follower);
    run.StartAt(bench::NowNanoseconds() + kSettle);
    return run.Finish();
}

Pair Run(const FreshCase& plan, const Rate& rate) {
    if (rate.sideBySide) return RunSideBySide(plan);
    Pair pair;
    for (int round = 0; round < rate.rounds; ++round) {
        pair.replica.Add(RunAlone(plan, bench::RunFreshReplica));
        pair.bare.Add(RunAlone(plan, bench::RunBareFollower));
    }
    return pair;
}

// ---- What is printed ----------------------------------------------------------------------------

void PrintLine(const char* rate, const char* follower, const Freshness& result) {
    const std::string shown = std::to_string(result.shown) + "/" + std::to_string(result.changes);
    const double delay = result.delays.empty() ? 0 : bench::Median(result.delays);
    std::printf("%7s %-8s %10s %8.2f %8.2f %8.2f %8.2f %6d %6d %7.1f%s\n", rate, follower,
                shown.c_str(), delay, Percentile(result.staleness, 50),
                Percentile(result.staleness, 99), Percentile(result.staleness, 100),
                result.listReads, result.selectionReads, result.CpuPercent(),
                result.isLastShown ? "" : "  the last one is not shown");
    if (result.made == result.changes) return;
    std::printf("%16s the list itself got round to %d changes only\n", "", result.made);
}

void PrintHead(FreshEvent event, std::size_t items) {
    std::printf("\n%s, %zu items\n%7s %-8s %10s %8s %8s %8s %8s %6s %6s %7s\n",
                event == FreshEvent::Change ? "Changes" : "Selections", items, "Hz", "", "shown",
                "delay", "stale", "p99", "max", "2002", "2001", "CPU %");
}

void JudgeStaleness(const FreshCase& plan, const Pair& pair) {
    const double p99 = Percentile(pair.replica.staleness, 99);
    if (plan.event == FreshEvent::Change && plan.items > kFew) {
        return Judge("p99, ms", p99, 120);
    }
    if (plan.perSecond > 60) return Judge("p99, ms", p99, 25);
    Judge("changes that were not shown", pair.replica.changes - pair.replica.shown, 0);
    Judge("p99, ms, against 2 x bare + 1", p99, 2 * Percentile(pair.bare.staleness, 99) + 1);
    if (plan.perSecond == 60) Judge("p99, ms, on a quiet machine", p99, 5);
}

void JudgeCost(const FreshCase& plan, const Freshness& replica) {
    if (plan.event == FreshEvent::Selection) {
        Judge("reads of the list, for selections alone", replica.listReads, 0);
        Judge("reads of the selection", replica.selectionReads, replica.changes);
    }
    if (plan.perSecond == 60) {
        Judge("CPU, % of a core", replica.CpuPercent(), plan.items > kFew ? 10 : 5);
    }
}

void Measure(FreshEvent event, std::size_t items) {
    PrintHead(event, items);
    for (const Rate& rate : kRates) {
        const FreshCase plan = {event, items, rate.perSecond, rate.changes};
        const Pair pair = Run(plan, rate);
        PrintLine(std::to_string(rate.perSecond).c_str(), "replica", pair.replica);
        PrintLine("", "bare", pair.bare);
        JudgeStaleness(plan, pair);
        JudgeCost(plan, pair.replica);
        std::fflush(stdout);
    }
}

}  // namespace

int main() {
    try {
        std::puts(
            "A replica and a bare follower of a list that changes on schedule, over dbus-daemon.\n"
            "delay: median of the ms until a change is shown. stale, p99, max: median, 99th\n"
            "percentile and maximum of the staleness in ms. 2002, 2001: reads of the list and of\n"
            "the selection, counted at the service. CPU: user and system time of service and\n"
            "follower together, all that they do included, the bus's own not.");
        bench::PrintLoad("before");
        for (const FreshEvent event : {FreshEvent::Change, FreshEvent::Selection}) {
            for (const std::size_t items : {kFew, kMany}) Measure(event, items);
        }
        bench::PrintLoad("after");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_freshness: %s\n", error.what());
        return 1;
    }
}
