// SPDX-License-Identifier: MIT

// What a freshness run's processes know in common: the schedule, and a log in shared memory of what
// really happened when. Every time is in nanoseconds of std::chrono::steady_clock, which is the
// same clock in all of them.
//
// Threads: one a process; each field has one writer. Lifetime: see Shared.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace bench {

enum class FreshEvent { Change, Selection };

// `changes` events of one kind, `perSecond` of them each second, in a list of `items`.
struct FreshCase {
    FreshEvent event;
    std::size_t items;
    int perSecond;
    int changes;

    std::int64_t Period() const { return 1000000000 / perSecond; }
    std::int64_t Duration() const { return Period() * changes; }

    // When the list becomes its version `version`, counted from 1, after the run's start.
    std::int64_t DueAfterStart(int version) const { return Period() * version - Period() / 2; }
};

constexpr int kMaxFreshChanges = 4096;

struct CpuOfProcess {
    std::atomic<std::int64_t> atStart{0};
    std::atomic<std::int64_t> atEnd{0};
};

struct FreshLog {
    std::atomic<std::int64_t> start{0};

    // The service's.
    std::atomic<int> made{0};  // the version of the list
    std::atomic<std::int64_t> madeAt[kMaxFreshChanges + 1] = {};
    std::atomic<int> lastServed{0};  // the version that was asked for last
    std::atomic<int> listReads{0};   // since the start
    std::atomic<int> selectionReads{0};
    CpuOfProcess serviceCpu;

    // The follower's: each newer version that it came to see, in order.
    std::atomic<int> shown{0};
    std::atomic<int> shownVersion[kMaxFreshChanges] = {};
    std::atomic<std::int64_t> shownAt[kMaxFreshChanges] = {};
    CpuOfProcess followerCpu;
};

}  // namespace bench
