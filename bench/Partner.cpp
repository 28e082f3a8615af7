// SPDX-License-Identifier: MIT

// A partner's replica over a private bus: how long it takes to read the list, to write to it, and
// to follow it, against what most would do instead.

#include "Partner.h"

#include <cstdio>
#include <exception>
#include <list>

#include "common/AppListLog.h"
#include "platform/LinuxLog.h"

using applist::SetMinimumLogPriority;

int main() {
    try {
        SetMinimumLogPriority(applist::logging::kError);
        std::list<bench::FetchComparison> fetches;
        for (const std::size_t count : {100U, 1000U, 10000U, 100000U}) fetches.emplace_back(count);
        const bench::WriteComparison writes;
        const bench::Burst fastest(std::chrono::microseconds(0));
        const bench::Burst paced(std::chrono::microseconds(100));
        std::puts(
            "A list of which every item was replaced: until the partner's replica shows it, and\n"
            "until the rows of an a(ss) stand in a vector of structs. Then 10,000 writes: until "
            "the\n"
            "replica shows them, and until each was answered before the next.");
        for (const bench::FetchComparison& fetch : fetches) fetch.Measure();
        writes.Measure();
        fastest.Measure();
        paced.Measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_partner: %s\n", error.what());
        return 1;
    }
}
