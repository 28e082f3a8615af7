// SPDX-License-Identifier: MIT

// One freshness run: a bus, a list that changes on schedule and a follower of it, in processes of
// their own.
//
// Threads: one. Lifetime: the processes go with the object.

#pragma once

#include <functional>

#include "ChildProcess.h"
#include "FreshProcesses.h"
#include "PrivateBus.h"
#include "Shared.h"
#include "Staleness.h"

namespace bench {

// An eventfd that the processes of a run inherit.
class StartSignal {
public:
    StartSignal();
    ~StartSignal();

    StartSignal(const StartSignal&) = delete;
    StartSignal& operator=(const StartSignal&) = delete;

    int Fd() const { return m_fd; }
    void Give();

private:
    int m_fd;
};

class FreshRun {
public:
    using Follower = void (*)(const FreshPlace& place, int readyFd);

    // Throws std::runtime_error when one of them does not come up.
    FreshRun(const FreshCase& plan, Follower follower);

    // The schedule begins at `start`, some time ahead.
    void StartAt(std::int64_t start);

    // Waits for its end, and a while for what is behind then.
    Freshness Finish() const;

private:
    FreshPlace Place() { return {m_bus.Address(), m_plan, *m_log, m_signal.Fd()}; }
    bool IsLastShown() const;

    const FreshCase m_plan;
    Shared<FreshLog> m_log;
    StartSignal m_signal;
    PrivateBus m_bus;
    ChildProcess m_list;
    ChildProcess m_follower;
};

}  // namespace bench
