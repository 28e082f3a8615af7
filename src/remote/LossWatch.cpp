// SPDX-License-Identifier: MIT

#include "remote/LossWatch.h"

#include <algorithm>
#include <utility>

namespace applist {

using remote_limits::kCompareAfterBurst;
using remote_limits::kCompareAtRest;
using remote_limits::kCompareTimeout;

bool LossWatch::Start(Time now, bool isReliable) {
    *this = LossWatch();
    m_isReliable = isReliable;
    m_state = State::Joining;
    return Ask(now);
}

void LossWatch::Stop() {
    *this = LossWatch();
}

// Back from a way that has ended, nobody knows what became of the notifications in between.
bool LossWatch::Move(Time now, bool isReliable) {
    m_isReliable = isReliable;
    if (m_state == State::Following && !isReliable) m_state = State::Doubtful;
    m_isAsking = false;
    m_patience = kCompareAtRest;
    return m_state != State::Absent && Ask(now);
}

bool LossWatch::Joined(Time now) {
    if (m_state != State::Joining) return false;
    m_state = State::Joined;
    return !m_isAsking && Ask(now);  // the bus has refused the first question
}

// A notification shows that the service is running. If the count that it was asked for does not
// follow soon, the bus has dropped that answer, as it may drop notifications.
void LossWatch::Notified(bool toEveryone, Time now) {
    if (m_state == State::Absent) return;
    if (toEveryone) ++m_received;
    m_lastNotified = now;
    if (m_isReliable) return;
    m_due = std::min(m_due, now + (m_isAsking ? m_patience : kCompareAfterBurst));
}

bool LossWatch::Doubt(Time now) {
    if (m_state == State::Following) m_state = State::Doubtful;
    return m_state != State::Absent && !m_isAsking && Ask(now);
}

bool LossWatch::TimePassed(Time now) {
    if (now < m_due) return false;
    const Time quiet = std::min(m_lastNotified + kCompareAfterBurst, m_latest);
    if (m_isAsking || now >= quiet) return Ask(now);
    m_due = quiet;
    return false;
}

bool LossWatch::Ask(Time now) {
    if (std::exchange(m_isAsking, true)) m_patience = std::min(2 * m_patience, kCompareTimeout);
    m_due = now + kCompareTimeout;
    return true;
}

void LossWatch::NotAsked(Time now) {
    m_isAsking = false;
    m_due = m_latest = now + kCompareAtRest;
}

LossWatch::Time LossWatch::AtRest(Time now) const {
    return m_isReliable ? Time::max() : now + kCompareAtRest;
}

// The answer comes after every notification that it counts: what is still missing was lost.
bool LossWatch::Counted(std::optional<std::uint64_t> count, Time now) {
    if (m_state == State::Absent) return false;
    m_isAsking = false;
    m_patience = kCompareAtRest;
    m_due = m_latest = AtRest(now);
    // The bus itself refuses at once, before the service can answer Connect. Its policy may forbid
    // only the count, or every call; Joined says which.
    if (!count && m_state == State::Joining) return false;
    const bool wasFollowing = m_state == State::Following;
    const std::uint64_t expected = m_count + std::exchange(m_received, 0);
    m_count = count.value_or(expected);
    m_state = State::Following;
    return !wasFollowing || m_count != expected;
}

}  // namespace applist
