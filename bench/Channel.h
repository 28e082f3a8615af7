// SPDX-License-Identifier: MIT

// What bench_channel measures, one class each: a partner over a direct channel, against the same
// one over the bus. All are built, with their buses and services, before the first one measures: a
// process that forks has no loop yet.
//
// Each prints tables. They throw std::runtime_error when something does not work, or when what was
// read is not what is there.
//
// Threads: one. Lifetime: the processes go with the object.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "ChildProcess.h"
#include "PrivateBus.h"
#include "Shared.h"

namespace bench {

// A call, 10,000 writes that are sent without waiting, and how soon a listener hears an event.
class ChannelCalls {
public:
    ChannelCalls();
    void Measure() const;

private:
    void MeasureCalls() const;
    void MeasureFollowing() const;

    // One a way: every write is an event for all who follow the list.
    struct Side {
        Side();

        Shared<std::atomic<std::int64_t>> clickedAt;
        PrivateBus bus;
        ChildProcess list;
    };
    Side m_direct;
    Side m_overBus;
};

// A list: the first one that a new partner shows, one that is all a partner wants, and one of which
// every item was replaced.
class ChannelReads {
public:
    explicit ChannelReads(std::size_t count);
    void Measure() const;

private:
    std::size_t m_count;
    PrivateBus m_bus;
    ChildProcess m_list;
};

// Calls until a call passes the bus by: a partner takes its channel a little after its start.
template <class Call>
void AwaitChannel(const PrivateBus& bus, Call&& call) {
    constexpr int kMostCalls = 100;
    for (int calls = 0; calls < kMostCalls; ++calls) {
        const double before = bus.UsedCpu();
        call();
        if (bus.UsedCpu() == before) return;
    }
    throw std::runtime_error("the partner does not use a direct channel");
}

}  // namespace bench
