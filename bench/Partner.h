// SPDX-License-Identifier: MIT

// What bench_partner measures, one class each. All are built, with their buses and services, before
// the first one measures: a process that forks has no other threads.
//
// Each prints a table. They throw std::runtime_error when something does not work, or when what was
// read is not what is there.
//
// Threads: one. Lifetime: the processes go with the object.

#pragma once

#include <chrono>
#include <cstddef>

#include "ChildProcess.h"
#include "PartnerLists.h"
#include "PrivateBus.h"
#include "Shared.h"

namespace bench {

// The list, read by a partner, against the same rows sent as a(ss).
class FetchComparison {
public:
    explicit FetchComparison(std::size_t count);
    void Measure() const;

private:
    std::size_t m_count;
    PrivateBus m_bus;
    ChildProcess m_list;
    ChildProcess m_sdBusRows;
    ChildProcess m_gdbusRows;
};

// Writes that are sent without waiting, against writes that are waited for one by one.
class WriteComparison {
public:
    WriteComparison();
    void Measure() const;

private:
    // One of each a side: every write is an event for all who follow the list.
    PrivateBus m_postedBus;
    ChildProcess m_postedList;
    PrivateBus m_waitedBus;
    ChildProcess m_waitedList;
};

// What 10,000 change events in a row cost a partner, and how soon it shows the last.
class Burst {
public:
    // One change `gap` after the other, or one each turn of the service's loop when that is 0.
    explicit Burst(std::chrono::microseconds gap);
    void Measure() const;

private:
    std::chrono::microseconds m_gap;
    Shared<BurstTally> m_tally;
    PrivateBus m_bus;
    ChildProcess m_list;
};

}  // namespace bench
