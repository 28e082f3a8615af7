// SPDX-License-Identifier: MIT

// Notifications that wait for the bus to take them: in order, and bounded in number and in bytes,
// so that a bus that stops reading cannot make this process grow.

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace applist {

struct Notification {
    std::string partner;  // empty: the default destination
    std::vector<char> body;

    std::size_t Bytes() const { return partner.size() + body.size(); }

    friend bool operator==(const Notification& left, const Notification& right) {
        return left.partner == right.partner && left.body == right.body;
    }
};

class NotificationQueue {
public:
    // Puts `notification` at the end, or merges it with the newest one that waits if the two are
    // equal. To stay within transport_limits it drops the oldest ones; a notification that exceeds
    // the bound in bytes by itself is dropped at once. Returns false when anything was dropped.
    bool Push(Notification notification);

    bool Empty() const { return m_waiting.empty(); }

    // REQUIRES: not empty.
    const Notification& Front() const { return m_waiting.front().notification; }
    void Pop();

    // How many notifications to the default destination wait; one that was merged counts.
    std::uint64_t ToEveryone() const { return m_toEveryone; }

    void Clear();

private:
    struct Waiting {
        Notification notification;
        std::uint64_t times;  // how often it was pushed
    };

    std::deque<Waiting> m_waiting;
    std::size_t m_bytes = 0;  // of all that wait
    std::uint64_t m_toEveryone = 0;
};

}  // namespace applist
