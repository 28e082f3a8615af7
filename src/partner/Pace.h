// SPDX-License-Identifier: MIT

// How often one kind of read may be made, so that it uses a twentieth of the time at most.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace applist {

class Pace {
public:
    // On a clock of which only differences mean anything.
    using Time = std::chrono::microseconds;

    // The time between the starts of two reads, in multiples of what a read costs: 5 % is reading.
    static constexpr int kTimesCost = 20;

    // The longest wait after a read. Lists so large that this breaks the rule above are rare, and
    // nothing that a person looks at may be older.
    static constexpr Time kLongestPause = std::chrono::seconds(1);

    // Time without reads pays in advance for the next wait, up to this much. Without that, the
    // second change after a rest would be shown late: waking both processes after a second's rest
    // takes 10 ms by itself, and the wait would be 20 times as long.
    static constexpr Time kCredit = std::chrono::milliseconds(250);

    // The cost that counts is the smallest of this many recent ones: whatever a read took beyond
    // that, the machine spent on others. On a busy machine every third read took ten times as long
    // as the rest, up to six in a row, which would mislead a median, or a minimum of fewer. The
    // price is that a list that has grown is read this many times at its old pace.
    static constexpr std::size_t kCostsThatCount = 16;

    // With fewer costs than this there is no pace yet: the very first read may also have waited for
    // a service that was starting.
    static constexpr std::size_t kFewestCosts = 3;

    // A read was sent at `sent`, and its answer shown at `shown`.
    void Add(Time sent, Time shown);

    // When the next one may be sent.
    Time Next() const { return m_next; }

private:
    Time Cost() const;

    std::array<Time, kCostsThatCount> m_costs{};  // a ring: the n-th cost is at n modulo its size
    std::size_t m_count = 0;
    Time m_next = Time::min();
};

}  // namespace applist
