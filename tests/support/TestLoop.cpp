#include "support/TestLoop.h"

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

void RunWhatIsReady() {
    while (sd_event_run(TestLoop(), 0) > 0) continue;
}
