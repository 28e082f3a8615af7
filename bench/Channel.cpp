// SPDX-License-Identifier: MIT

// A direct channel against the bus: the same partner, the same service, and nobody between.

#include "Channel.h"

#include <cstdio>
#include <exception>
#include <list>

#include "common/AppListLog.h"
#include "platform/LinuxLog.h"

using applist::SetMinimumLogPriority;

int main() {
    try {
        SetMinimumLogPriority(applist::logging::kError);
        const bench::ChannelCalls calls;
        std::list<bench::ChannelReads> reads;
        for (const std::size_t count : {100U, 10000U, 1000000U}) reads.emplace_back(count);
        std::puts("\nA partner over a direct channel, against the same one over the bus.");
        calls.Measure();
        for (const bench::ChannelReads& read : reads) read.Measure();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_channel: %s\n", error.what());
        return 1;
    }
}
