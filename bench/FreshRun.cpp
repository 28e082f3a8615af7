// SPDX-License-Identifier: MIT

#include "FreshRun.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "BareBus.h"
#include "NowNanoseconds.h"

namespace bench {

namespace {

using std::chrono::milliseconds;

// What the last reading of a busy follower may take once the schedule is over.
constexpr std::int64_t kGrace = 2000000000;
constexpr milliseconds kLook{5};

void SleepUntil(std::int64_t time) {
    std::this_thread::sleep_for(std::chrono::nanoseconds(time - NowNanoseconds()));
}

}  // namespace

StartSignal::StartSignal() : m_fd(eventfd(0, EFD_CLOEXEC)) {
    if (m_fd < 0) throw std::runtime_error("no eventfd");
}

StartSignal::~StartSignal() {
    close(m_fd);
}

void StartSignal::Give() {
    Check(eventfd_write(m_fd, 1));
}

FreshRun::FreshRun(const FreshCase& plan, Follower follower)
    : m_plan(plan),
      m_list([this](int readyFd) { RunFreshList(Place(), readyFd); }),
      m_follower([this, follower](int readyFd) { follower(Place(), readyFd); }) {}

void FreshRun::StartAt(std::int64_t start) {
    m_log->start = start;
    m_signal.Give();
}

bool FreshRun::IsLastShown() const {
    const int shown = m_log->shown;
    return shown > 0 && m_log->shownVersion[shown - 1] == m_plan.changes;
}

Freshness FreshRun::Finish() const {
    const std::int64_t end = m_log->start + m_plan.Duration();
    SleepUntil(end);
    const auto isOver = [this] {
        return IsLastShown() && m_log->serviceCpu.atEnd > 0 && m_log->followerCpu.atEnd > 0;
    };
    while (!isOver() && NowNanoseconds() < end + kGrace) std::this_thread::sleep_for(kLook);
    return FreshnessOf(m_plan, *m_log);
}

}  // namespace bench
