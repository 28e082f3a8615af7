// SPDX-License-Identifier: MIT

// Which parts of the replica are stale, and when to read them: as soon as a screen can show the
// difference, and no more often. Only decides; others do the reading, and pass the time in.
//
// What was read may be older or newer than any event. So an event only marks a part as stale,
// whatever it says, and one that comes while a read is under way marks the part again.

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

    enum class Part { Selection, List };  // reading the list always reads the selection, too
    enum class Step { Nothing, Wait, ReadSelection, ReadList };
    enum class Outcome { Shown, ListIsNeeded, Failed };

    struct Read {
        Part part;
        Time sent;
        std::uint64_t outOfTurn;  // counted from 1; 0 for a read in its turn
    };

    // One read of any kind in each frame: a screen shows nothing more often. A little less than
    // 1/60 s, so that a service that changes in step with a screen is shown in step.
    static constexpr Time kFrame = std::chrono::milliseconds(16);

    // In a steady stream of changes, a frame that begins late, by up to this much, does not delay
    // those after it. Otherwise a partner that was woken late once would stay behind for the rest
    // of the stream, and miss a change now and then. A rest of kRest ends the stream: a burst after
    // it gets no frame in advance.
    static constexpr Time kFrameCredit = std::chrono::milliseconds(12);
    static constexpr Time kRest = 3 * kFrame;

    // A restart of the service or the bus is seen by all partners at once. Each waits for a random
    // time of at most this before it reads, so that not all read at once. Nobody notices so little.
    static constexpr Time kLongestSpread = std::chrono::milliseconds(20);

    // The waits after a read that failed, doubling from the first to the last. What failed only
    // once, because too much was waiting or memory was short, is shown before anyone wonders; what
    // keeps failing costs one call a second, and is shown within a second of working again.
    static constexpr Time kFirstRetry = std::chrono::milliseconds(100);
    static constexpr Time kLastRetry = std::chrono::seconds(1);

    // `seed` differs between partners: with equal ones they would all wait for the same time.
    explicit FetchPlan(std::uint32_t seed) : m_random(seed) {}

    // The service has appeared, or something of it was lost.
    void ServiceIsThere(Time now);
    void ServiceIsGone();
    bool IsServiceThere() const { return m_state != State::Unmet && m_state != State::Away; }

    // An event came. Returns whether that changes the next step, so that Next has to be asked.
    bool MarkStale(Part part);

    // What to do at `now`: Begin a read, or ask again at Due() when it says Wait.
    Step Next(Time now);
    Time Due() const;

    // A read is sent: the one that Next named, or one out of turn, which the pace does not count.
    Read Begin(Part part, Time now);
    Read BeginOutOfTurn(Time now);
    void Finish(const Read& read, Outcome outcome, Time now);

    // Whether the answer to `read` may be passed over, with ListIsNeeded, when its list and its
    // selection do not fit together. The list has changed since, so it is read again anyway. But
    // not twice in a row, or a list that always changes might never be shown; and not out of turn,
    // since somebody waits for that.
    bool MayPassOver(const Read& read) const;

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
    // A read out of turn leads from every state to Reading, except from the two without a service.
    enum class State {
        Unmet,    // no service so far
        Away,     // no service any more
        Fresh,    // nothing is stale
        Waiting,  // something is stale, and its read is not due
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
    std::uint64_t m_outOfTurn = 0;   // reads so far
    bool m_hasPassedOver = false;    // the last list that was read
    Time m_frame = Time::min();      // when the next frame begins
    Time m_notBefore = Time::min();  // of any read
    Time m_retry = kFirstRetry;      // after the next failure
    std::minstd_rand m_random;
};

}  // namespace applist
