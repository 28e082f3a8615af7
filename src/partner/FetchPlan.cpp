// SPDX-License-Identifier: MIT

#include "partner/FetchPlan.h"

#include <algorithm>
#include <utility>

namespace applist {

void FetchPlan::ServiceIsThere(Time now) {
    if (m_state == State::Unmet) m_notBefore = now;
    // Spread only after a loss: it is a restart that many partners see at the same time.
    if (m_state == State::Away) m_notBefore = now + Time(m_random()) % (kLongestSpread + Time(1));
    if (!IsServiceThere()) m_state = m_underWay > 0 ? State::Reading : State::Waiting;
    m_list.isStale = true;
}

void FetchPlan::ServiceIsGone() {
    if (IsServiceThere()) m_state = State::Away;
    // The next service is a different one, whose reads may cost more or less.
    m_list = Stale();
    m_selection = Stale();
    m_retry = kFirstRetry;
}

// While a read is under way this is not news: Finish leads to the next step anyway.
bool FetchPlan::MarkStale(Part part) {
    if (!IsServiceThere()) return false;
    const bool wasStale = std::exchange(Of(part).isStale, true);
    return !wasStale && m_state != State::Reading;
}

FetchPlan::Step FetchPlan::Next(Time now) {
    if (!IsServiceThere() || m_state == State::Reading) return Step::Nothing;
    if (DueOf(m_list) <= now) return Step::ReadList;
    if (DueOf(m_selection) <= now) return Step::ReadSelection;
    const bool isStale = m_list.isStale || m_selection.isStale;
    m_state = isStale ? State::Waiting : State::Fresh;
    return isStale ? Step::Wait : Step::Nothing;
}

FetchPlan::Time FetchPlan::Due() const {
    return std::min(DueOf(m_list), DueOf(m_selection));
}

FetchPlan::Time FetchPlan::DueOf(const Stale& part) const {
    return part.isStale ? std::max(m_notBefore, part.pace.Next()) : Time::max();
}

FetchPlan::Read FetchPlan::Begin(Part part, Time now) {
    // Cleared now and not when the answer comes: an event that comes in between must mark it again.
    if (part == Part::List) m_list.isStale = false;
    m_selection.isStale = false;
    ++m_underWay;
    // Frames are counted from each other, not from when a read really began; see kFrameCredit.
    const bool hasRested = now > m_frame + kRest;
    m_frame = hasRested ? now : std::clamp(m_frame, now - kFrameCredit, now);
    m_frame += kFrame;
    m_notBefore = m_frame;
    if (IsServiceThere()) m_state = State::Reading;
    return {part, now, 0};
}

// Unpaced, because it also waits for the writes before it: its time says nothing about reading.
FetchPlan::Read FetchPlan::BeginOutOfTurn(Time now) {
    Read read = Begin(Part::List, now);
    read.outOfTurn = ++m_outOfTurn;
    return read;
}

bool FetchPlan::MayPassOver(const Read& read) const {
    return m_list.isStale && !m_hasPassedOver && read.outOfTurn == 0;
}

void FetchPlan::Finish(const Read& read, Outcome outcome, Time now) {
    --m_underWay;
    if (read.part == Part::List) m_hasPassedOver = outcome == Outcome::ListIsNeeded;
    if (!IsServiceThere()) return;
    if (m_underWay == 0) m_state = State::Waiting;
    if (outcome == Outcome::Failed) {
        // There may never be another event to lead to the next try. Whichever part failed, both are
        // read again, and the pace of earlier reads does not put that off.
        m_list = Stale{true, Pace()};
        m_notBefore = now + NextRetry();
        return;
    }
    if (outcome == Outcome::ListIsNeeded) m_list.isStale = true;
    if (read.outOfTurn == 0) Of(read.part).pace.Add(read.sent, now);
    m_retry = kFirstRetry;
}

FetchPlan::Time FetchPlan::NextRetry() {
    return std::exchange(m_retry, std::min(2 * m_retry, kLastRetry));
}

}  // namespace applist
