// What of the replica is stale, and when which read is due: as fresh as a screen can show, and no
// more often. Decides, and does nothing; time comes in from outside.
//
// What was read may be older or newer than any event. So an event marks a part as stale, whatever
// it tells, and one that comes while a read is under way marks it again.
//
// Threads: one. Lifetime: plain values.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>

#include "partner/Pace.h"

namespace applist {

class FetchPlan {
public:
    using Time = Pace::Time;

    enum class Part { Selection, List };  // who reads the list reads the selection, too
    enum class Step { Nothing, Wait, ReadSelection, ReadList };
    enum class Outcome { Shown, ListIsNeeded, Failed };

    struct Read {
        Part part;
        Time sent;
        bool isPaced;
    };

    // One read of any kind a frame: a screen shows nothing more often. A little less than 1 / 60 s,
    // so that a service that changes in step with a screen is shown in step.
    static constexpr Time kFrame = std::chrono::milliseconds(16);

    // In a steady stream of changes, a frame that begins late by up to so much does not put off
    // those after it. Otherwise a partner that was woken late once would be behind for the rest of
    // it, and miss a change every now and then. A rest ends the stream: a burst gets no frame in
    // advance.
    static constexpr Time kFrameCredit = std::chrono::milliseconds(12);
    static constexpr Time kRest = 3 * kFrame;

    // A restart of the service or the bus is seen by all partners at once. Each waits for a time of
    // its own up to this before it reads; nobody sees so little.
    static constexpr Time kLongestSpread = std::chrono::milliseconds(20);

    // After a read that failed: what fails once, because too much waited or memory was short, is
    // shown before a person wonders; what fails for good costs one call a second, and shows within
    // a second when it works again.
    static constexpr Time kFirstRetry = std::chrono::milliseconds(100);
    static constexpr Time kLastRetry = std::chrono::seconds(1);

    // Equal seeds spread restarts equally.
    explicit FetchPlan(std::uint32_t seed) : m_random(seed) {}

    // The service has appeared, or something of it was lost.
    void ServiceIsThere(Time now);
    void ServiceIsGone();
    bool IsServiceThere() const { return m_state != State::Unmet && m_state != State::Away; }

    // Returns whether that is news: then the next step is to be asked for.
    bool MarkStale(Part part);

    // What to do at `now`. A read is to be begun then; to wait means to ask again at Due().
    Step Next(Time now);
    Time Due() const;

    // A read is sent: the one that Next named, or one out of turn, to which no pace applies.
    Read Begin(Part part, Time now);
    Read BeginOutOfTurn(Time now);
    void Finish(const Read& read, Outcome outcome, Time now);

private:
    //                        Unmet ---+
    //                                 | the service appears; something is stale from now on
    //           Away -----------------+
    //            ^                    v
    //   it goes, |      +---------> Waiting <------------+
    //   in any   |      | an event,   |                  | the read is finished, and something is
    //   state    |      | not yet due | due              | stale: it failed, or an event came
    //            |      |             v                  |
    //            +--- Fresh <----- Reading --------------+
    //                   |  finished   ^
    //                   +-------------+ an event, due at once
    //
    // A read out of turn makes every state Reading but the two without a service, which stay.
    enum class State {
        Unmet,    // no service so far
        Away,     // no service any more
        Fresh,    // nothing is stale
        Waiting,  // something is, and not due
        Reading,  // at least one read is under way
    };

    struct Stale {
        bool isStale = false;
        Pace pace;
    };

    Stale& Of(Part part) { return part == Part::List ? m_list : m_selection; }
    Time DueOf(const Stale& part) const;
    Time NextRetry();

    State m_state = State::Unmet;
    Stale m_list;
    Stale m_selection;
    std::size_t m_underWay = 0;
    Time m_frame = Time::min();      // when the next frame begins
    Time m_notBefore = Time::min();  // of any read
    Time m_retry = kFirstRetry;      // after the next failure
    std::minstd_rand m_random;
};

}  // namespace applist
