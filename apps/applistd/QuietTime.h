// SPDX-License-Identifier: MIT

// Waits until changes pause. A file or an entry appears half-written, and an upgrade takes entries
// away for a moment; who looked at each change would see what nobody meant.
//
// Threads: the thread of its default sd-event loop. Lifetime: calls nothing after its destruction.

#pragma once

#include <chrono>
#include <functional>

#include "bus/SdBus.h"

namespace applist::daemon {

class QuietTime {
public:
    // What `onQuiet` throws is logged. Throws std::system_error when the kernel refuses a timer.
    explicit QuietTime(std::function<void()> onQuiet);

    // Something has changed: calls `onQuiet` after half a second without another change, or when
    // changes have gone on for five seconds.
    void Restart();

    // What has changed until now is not waited for any more.
    void Stop();

private:
    using Clock = std::chrono::steady_clock;

    static int OnTime(sd_event_source* timer, std::uint64_t time, void* self);

    std::function<void()> m_onQuiet;
    UniqueSource m_timer;
    bool m_isWaiting = false;
    Clock::time_point m_patienceEnd;
};

}  // namespace applist::daemon
