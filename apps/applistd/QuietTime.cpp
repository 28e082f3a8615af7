// SPDX-License-Identifier: MIT

#include "apps/applistd/QuietTime.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "apps/applistd/DefaultLoop.h"
#include "common/Guarded.h"

namespace applist::daemon {

namespace {

// Long enough for a package manager to write an entry, short enough for a person who is waiting.
constexpr std::chrono::milliseconds kQuiet(500);
// How long changes without a pause, as in a large upgrade, may delay the news.
constexpr std::chrono::milliseconds kPatience(5000);

constexpr std::chrono::microseconds kAccuracy(10000);

std::uint64_t Microseconds(std::chrono::nanoseconds time) {
    const auto count = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
    return static_cast<std::uint64_t>(count);
}

}  // namespace

// The timer is made here, so that later nothing can fail.
QuietTime::QuietTime(std::function<void()> onQuiet) : m_onQuiet(std::move(onQuiet)) {
    const UniqueEvent loop = DefaultLoop();
    sd_event_source* timer = nullptr;
    Checked(sd_event_add_time(loop.get(), &timer, CLOCK_MONOTONIC, UINT64_MAX,
                              Microseconds(kAccuracy), OnTime, this),
            "cannot set a timer");
    m_timer.reset(timer);
    Stop();
}

// Not relative to sd-event's own time: that stands still while GLib dispatches other sources.
void QuietTime::Restart() {
    const Clock::time_point now = Clock::now();
    if (!m_isWaiting) m_patienceEnd = now + kPatience;
    m_isWaiting = true;
    const Clock::time_point due = std::min(now + kQuiet, m_patienceEnd);
    sd_event_source_set_time(m_timer.get(), Microseconds(due.time_since_epoch()));
    sd_event_source_set_enabled(m_timer.get(), SD_EVENT_ONESHOT);
}

void QuietTime::Stop() {
    m_isWaiting = false;
    sd_event_source_set_enabled(m_timer.get(), SD_EVENT_OFF);
}

int QuietTime::OnTime(sd_event_source*, std::uint64_t, void* self) {
    auto* const quiet = static_cast<QuietTime*>(self);
    quiet->m_isWaiting = false;
    Guarded("looking at what has changed", [quiet] { quiet->m_onQuiet(); });
    return 0;
}

}  // namespace applist::daemon
