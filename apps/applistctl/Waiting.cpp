// SPDX-License-Identifier: MIT

#include "apps/applistctl/Waiting.h"

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <cstring>

#include "apps/applistctl/Failure.h"
#include "remote/RemoteError.h"

namespace applist::ctl {

using Clock = std::chrono::steady_clock;

// sd_event_default gives the loop that the connection to the bus is on.
void RunLoopUntil(const std::function<bool()>& isThere, Clock::time_point deadline) {
    sd_event* loop = nullptr;
    int result = sd_event_default(&loop);
    while (result >= 0 && !isThere()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) break;
        result = sd_event_run(loop, static_cast<std::uint64_t>(left.count()));
    }
    sd_event_unref(loop);
    if (result < 0) throw Failure(kNotDone, std::string("cannot wait: ") + std::strerror(-result));
}

void AskService(const Options& options, const std::function<bool()>& isThere,
                const std::function<void()>& ask) {
    const Clock::time_point deadline = Clock::now() + options.timeout;
    for (;;) {
        // Decided before asking, so that the last attempt begins after the time is over.
        const bool isLast = !options.wait || Clock::now() >= deadline;
        try {
            return ask();
        } catch (const RemoteError& error) {
            if (isLast || error.GetCause() != RemoteError::Cause::NoService) throw;
        }
        RunLoopUntil(isThere, deadline);
    }
}

}  // namespace applist::ctl
