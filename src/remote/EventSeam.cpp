// SPDX-License-Identifier: MIT

#include "remote/EventSeam.h"

#include <algorithm>
#include <utility>

#include "bus/TransportLimits.h"

namespace applist {

void EventSeam::Begin(std::optional<std::uint64_t> told) {
    m_isHolding = true;
    m_told = told;
    m_held.clear();
    m_bytes = 0;
}

bool EventSeam::Hold(Event& event) {
    if (!m_isHolding) return false;
    m_bytes += event.body.size();
    m_held.push_back(std::move(event));
    return true;
}

bool EventSeam::IsFull() const {
    return m_held.size() >= transport_limits::kMaxWaitingNotifications ||
           m_bytes >= transport_limits::kMaxWaitingBytes;
}

std::vector<EventSeam::Event> EventSeam::End(std::optional<std::uint64_t> count) {
    if (!std::exchange(m_isHolding, false)) return {};
    std::vector<Event> held = std::exchange(m_held, {});
    if (!count || !m_told) return held;
    const auto isCounted = [](const Event& event) { return event.toEveryone; };
    const auto counted =
        static_cast<std::uint64_t>(std::count_if(held.begin(), held.end(), isCounted));
    const std::uint64_t first = *count - std::min(counted, *count);
    std::uint64_t twice = *m_told > first ? *m_told - first : 0;
    held.erase(std::remove_if(held.begin(), held.end(),
                              [&](const Event& event) {
                                  return isCounted(event) && twice > 0 && twice-- > 0;
                              }),
               held.end());
    return held;
}

}  // namespace applist
