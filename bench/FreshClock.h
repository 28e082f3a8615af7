// SPDX-License-Identifier: MIT

// The start, the end and the cost of a freshness run, in one of its processes.
//
// Threads: the caller's default sd-event loop. Lifetime: not movable, the loop knows its address.

#pragma once

#include <functional>

#include "FreshLog.h"
#include "bus/SdBus.h"

namespace bench {

// Has the default loop call `handler` at a time of FreshLog's clock, once, and with no slack.
applist::UniqueSource CallAt(std::int64_t nanoseconds, sd_event_time_handler_t handler,
                             void* userdata);

class FreshClock {
public:
    // Notes in `cpu` what this process has used at the start and at the end; the first comes with
    // `onStart`, which may be empty.
    FreshClock(const FreshCase& plan, const FreshLog& log, int startFd, CpuOfProcess& cpu,
               std::function<void()> onStart);
    FreshClock(const FreshClock&) = delete;
    FreshClock& operator=(const FreshClock&) = delete;

private:
    static int OnSet(sd_event_source*, int, std::uint32_t, void* userdata);
    static int OnStart(sd_event_source*, std::uint64_t, void* userdata);
    static int OnEnd(sd_event_source*, std::uint64_t, void* userdata);

    const FreshCase m_plan;
    const FreshLog& m_log;
    CpuOfProcess& m_cpu;
    std::function<void()> m_onStart;
    applist::UniqueSource m_set;
    applist::UniqueSource m_start;
    applist::UniqueSource m_end;
};

}  // namespace bench
