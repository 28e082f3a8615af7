#include "partner/Pace.h"

#include <algorithm>

namespace applist {

void Pace::Add(Time sent, Time shown) {
    m_costs[m_oldest] = shown - sent;
    m_oldest = (m_oldest + 1) % m_costs.size();
    const Time cost = *std::min_element(m_costs.begin(), m_costs.end());
    m_next = std::max(m_next, sent - kCredit) + kTimesCost * cost;
    m_next = std::min(m_next, shown + kLongestPause);
}

}  // namespace applist
