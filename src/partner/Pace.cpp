// SPDX-License-Identifier: MIT

#include "partner/Pace.h"

#include <algorithm>

namespace applist {

void Pace::Add(Time sent, Time shown) {
    m_costs[m_count++ % m_costs.size()] = shown - sent;
    m_next = std::max(m_next, sent - kCredit) + kTimesCost * Cost();
    m_next = std::min(m_next, shown + kLongestPause);
}

Pace::Time Pace::Cost() const {
    if (m_count < kFewestCosts) return Time(0);
    const std::size_t known = std::min(m_count, m_costs.size());
    return *std::min_element(m_costs.begin(), m_costs.begin() + static_cast<std::ptrdiff_t>(known));
}

}  // namespace applist
