// SPDX-License-Identifier: MIT

#include "platform/ReplyRations.h"

#include <algorithm>

#include "bus/TransportLimits.h"

namespace applist {

bool ReplyRations::Admits(const std::string& partner, Clock::time_point now) {
    // Bounded, as anybody can open connections. Whoever is too many is let off.
    if (m_sent.size() >= transport_limits::kMostPartners && m_sent.count(partner) == 0) return true;
    // Made now: when a call has been executed, nothing may fail any more.
    const std::uint64_t sent = m_sent[partner];
    return sent < transport_limits::kRation || now >= m_end;
}

void ReplyRations::Charge(const std::string& partner, std::size_t bytes) {
    const auto sent = m_sent.find(partner);
    if (sent != m_sent.end()) sent->second += bytes;
}

void ReplyRations::Begin(Clock::time_point now) {
    m_end = now + transport_limits::kRationing;
    Renew();
}

std::string ReplyRations::Most() const {
    const auto most = std::max_element(
        m_sent.begin(), m_sent.end(),
        [](const auto& one, const auto& other) { return one.second < other.second; });
    return most == m_sent.end() ? std::string() : most->first;
}

}  // namespace applist
