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
    if (!m_waiting.empty() && m_waiting.back().partner == notification.partner &&
        m_waiting.back().body == notification.body) {
        return true;
    }
    bool complete = true;
    while (m_waiting.size() >= kMaxWaitingNotifications || kMaxWaitingBytes - bytes < m_bytes) {
        Pop();
        complete = false;
    }
    m_waiting.push_back(std::move(notification));
    m_bytes += bytes;
    return complete;
}

void NotificationQueue::Pop() {
    m_bytes -= m_waiting.front().Bytes();
    m_waiting.pop_front();
}

void NotificationQueue::Clear() {
    m_waiting.clear();
    m_bytes = 0;
}

}  // namespace applist
