// SPDX-License-Identifier: MIT

#include "FreshClock.h"

#include <sys/epoll.h>
#include <sys/resource.h>

#include <utility>

#include "BareBus.h"

using applist::UniqueSource;

namespace bench {

namespace {

std::int64_t Nanoseconds(const struct timeval& time) {
    return (std::int64_t{1000000} * time.tv_sec + time.tv_usec) * 1000;
}

std::int64_t UsedCpu() {
    struct rusage usage;
    Check(getrusage(RUSAGE_SELF, &usage));
    return Nanoseconds(usage.ru_utime) + Nanoseconds(usage.ru_stime);
}

}  // namespace

// An accuracy of 0 would stand for sd-event's default, a quarter of a second.
UniqueSource CallAt(std::int64_t nanoseconds, sd_event_time_handler_t handler, void* userdata) {
    sd_event_source* source = nullptr;
    Check(sd_event_add_time(SD_EVENT_DEFAULT, &source, CLOCK_MONOTONIC,
                            static_cast<std::uint64_t>(nanoseconds / 1000), 1, handler, userdata));
    return UniqueSource(source);
}

FreshClock::FreshClock(const FreshCase& plan, const FreshLog& log, int startFd, CpuOfProcess& cpu,
                       std::function<void()> onStart)
    : m_plan(plan), m_log(log), m_cpu(cpu), m_onStart(std::move(onStart)) {
    sd_event_source* source = nullptr;
    Check(sd_event_add_io(SD_EVENT_DEFAULT, &source, startFd, EPOLLIN, OnSet, this));
    m_set.reset(source);
}

int FreshClock::OnSet(sd_event_source*, int, std::uint32_t, void* userdata) {
    FreshClock& self = *static_cast<FreshClock*>(userdata);
    self.m_set.reset();
    self.m_start = CallAt(self.m_log.start, OnStart, userdata);
    self.m_end = CallAt(self.m_log.start + self.m_plan.Duration(), OnEnd, userdata);
    return 0;
}

int FreshClock::OnStart(sd_event_source*, std::uint64_t, void* userdata) {
    FreshClock& self = *static_cast<FreshClock*>(userdata);
    self.m_cpu.atStart = UsedCpu();
    if (self.m_onStart) self.m_onStart();
    return 0;
}

int FreshClock::OnEnd(sd_event_source*, std::uint64_t, void* userdata) {
    static_cast<FreshClock*>(userdata)->m_cpu.atEnd = UsedCpu();
    return 0;
}

}  // namespace bench
