// How often one kind of read may be made: it gets a twentieth of the time.
//
// Threads: one. Lifetime: plain values.

#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace applist {

class Pace {
public:
    // On a clock of which only differences mean anything.
    using Time = std::chrono::microseconds;

    // So many times its cost lie between the starts of two reads: 5 % of the time is reading.
    static constexpr int kTimesCost = 20;

    // The longest wait after a read. A larger list than this pays for is rare, and what a person
    // looks at must not be older.
    static constexpr Time kLongestPause = std::chrono::seconds(1);

    // Rest pays in advance for so much of the next wait. Without that, one change a second would
    // cost the second one of a burst dear: waking both processes after a second's rest takes 10 ms
    // by itself, and 20 times that would be waited.
    static constexpr Time kCredit = std::chrono::milliseconds(250);

    // The cost that counts is the smallest of so many last ones: whatever a read took beyond that,
    // the machine gave to somebody else. On a busy one every third read took ten times as long as
    // the others, six in a row among them, and a median or a few would have gone by those. The
    // price is that a list that has grown is read so many times at its old pace.
    static constexpr std::size_t kCostsThatCount = 16;

    // Fewer say nothing yet: the very first read may also wait for a service that is starting.
    static constexpr std::size_t kFewestCosts = 3;

    // A read was sent at `sent`, and its answer shown at `shown`.
    void Add(Time sent, Time shown);

    // When the next one may be sent.
    Time Next() const { return m_next; }

private:
    Time Cost() const;

    std::array<Time, kCostsThatCount> m_costs{};  // the n-th one at n modulo the size
    std::size_t m_count = 0;
    Time m_next = Time::min();
};

}  // namespace applist
