// SPDX-License-Identifier: MIT

// What a freshness run comes to: how far behind its follower was, and what following cost.
//
// Threads: any. Lifetime: plain values.

#pragma once

#include <vector>

#include "FreshLog.h"

namespace bench {

struct Freshness {
    int changes = 0;          // that the schedule had
    int made = 0;             // that the list got round to
    int shown = 0;            // that the follower came to see, each for itself
    bool isLastShown = true;  // at the end, or a while after it
    // Milliseconds, sampled each millisecond: the age of the oldest change that was not shown.
    std::vector<double> staleness;
    // Milliseconds, of each change: until it was shown, or a later one.
    std::vector<double> delays;
    int listReads = 0;
    int selectionReads = 0;
    double cpuSeconds = 0;  // user and system time of both processes, the bus not included
    double seconds = 0;

    double CpuPercent() const { return 100 * cpuSeconds / seconds; }
    void Add(const Freshness& more);
};

// REQUIRES: the run is over.
Freshness FreshnessOf(const FreshCase& plan, const FreshLog& log);

}  // namespace bench
