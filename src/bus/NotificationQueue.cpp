// SPDX-License-Identifier: MIT

#include "bus/NotificationQueue.h"

#include <utility>

#include "bus/TransportLimits.h"

namespace applist {

using transport_limits::kMaxWaitingBytes;
using transport_limits::kMaxWaitingNotifications;

bool NotificationQueue::Push(Notification notification) {
    const std::size_t bytes = notification.Bytes();
    if (bytes > kMaxWaitingBytes) return false;
    // Only the newest: an equal one further ahead may not be merged, as those in between would then
    // be told in another order.
    const bool isToEveryone = notification.partner.empty();
    if (!m_waiting.empty() && m_waiting.back().notification == notification) {
        ++m_waiting.back().times;
        m_toEveryone += isToEveryone;
        return true;
    }
    bool complete = true;
    while (m_waiting.size() >= kMaxWaitingNotifications || kMaxWaitingBytes - bytes < m_bytes) {
        Pop();
        complete = false;
    }
    m_waiting.push_back({std::move(notification), 1});
    m_bytes += bytes;
    m_toEveryone += isToEveryone;
    return complete;
}

void NotificationQueue::Pop() {
    const Waiting& front = m_waiting.front();
    m_bytes -= front.notification.Bytes();
    if (front.notification.partner.empty()) m_toEveryone -= front.times;
    m_waiting.pop_front();
}

void NotificationQueue::Clear() {
    m_waiting.clear();
    m_bytes = 0;
    m_toEveryone = 0;
}

}  // namespace applist
