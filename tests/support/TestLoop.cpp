// SPDX-License-Identifier: MIT

#include "support/TestLoop.h"

#include <sys/epoll.h>

#include <stdexcept>

sd_event* TestLoop() {
    static sd_event* const loop = [] {
        sd_event* made = nullptr;
        if (sd_event_default(&made) < 0) throw std::runtime_error("no default loop");
        return made;
    }();
    return loop;
}

bool RunUntil(const std::function<bool()>& done) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + kTestDeadline;
    while (!done()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        if (sd_event_run(TestLoop(), static_cast<std::uint64_t>(left.count())) < 0) {
            throw std::runtime_error("the loop failed");
        }
    }
    return true;
}

bool RunUntilReadable(int fd) {
    bool readable = false;
    const auto note = [](sd_event_source*, int, std::uint32_t, void* userdata) {
        *static_cast<bool*>(userdata) = true;
        return 0;
    };
    sd_event_source* source = nullptr;
    if (sd_event_add_io(TestLoop(), &source, fd, EPOLLIN, note, &readable) < 0) return false;
    const bool inTime = RunUntil([&] { return readable; });
    sd_event_source_disable_unref(source);
    return inTime;
}

void RunWhatIsReady() {
    while (sd_event_run(TestLoop(), 0) > 0) continue;
}
