// SPDX-License-Identifier: MIT

// Where a partner changes from the notifications on the bus to those on a channel: tells which of
// the latter it has heard already, so that each is told once. A change that is told twice would do
// no harm, and one that is not told would be read anew; but a click is told or lost.
//
// The service sends to the channel from the moment when it is confirmed, and to the bus as before.
// Both streams have the service's count in them: it was asked for on the bus after that moment, and
// what came on the bus until the answer has been told. On the channel, what comes is held until the
// count is answered there, which says what the first one was.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace applist {

class EventSeam {
public:
    struct Event {
        std::vector<char> body;
        bool toEveryone;  // and so on both ways, and counted
    };

    // From now on events are held. `told` is the count of those that were told over the bus;
    // nothing when the service does not say.
    void Begin(std::optional<std::uint64_t> told);

    // Takes `event` and returns true while they are held.
    bool Hold(Event& event);
    // Whether no more than these should be held, so that End is called without a count.
    bool IsFull() const;
    // What has to be told of the events that were held, and no more will be: the service's count,
    // which was answered behind them, is `count`.
    std::vector<Event> End(std::optional<std::uint64_t> count);

private:
    bool m_isHolding = false;
    std::optional<std::uint64_t> m_told;
    std::vector<Event> m_held;
    std::size_t m_bytes = 0;
};

}  // namespace applist
