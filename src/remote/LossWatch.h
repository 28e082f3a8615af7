// SPDX-License-Identifier: MIT

// Whether a service can be used, and whether all of its notifications have arrived: the service's
// count of them is compared with ours when a burst is over, and every few seconds. On a reliable
// way, where only the service itself drops any and says so, nothing is compared and no time passes.
//
//   Absent ---- Start ----> Joining ---- the service answers Connect ----> Joined
//   Joining, Joined ---- a count; or Joined, and the count refused ----> Following  (usable)
//   Following ---- a count that differs ----> Following                            (usable again)
//   Following ---- no answer in time, or some dropped ----> Doubtful
//   Doubtful ---- a count, or the count refused ----> Following                    (usable again)
//   any ---- Stop ----> Absent
//
// "Usable" means that whoever keeps a copy of the service's state should read it (again). Until the
// first count, notifications are only counted, since the first read covers them.
//
// It asks nothing itself: it is told what happens and when, and the functions that return a bool
// without saying more return whether to ask for the count now.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "remote/RemoteLimits.h"

namespace applist {

class LossWatch {
public:
    using Time = std::chrono::microseconds;

    [[nodiscard]] bool Start(Time now, bool isReliable);
    void Stop();
    // Everything comes another way from now on, each notification once. The count tells whether any
    // was lost before; on a way that is not reliable, it is not believed to.
    [[nodiscard]] bool Move(Time now, bool isReliable);

    // The service answered Connect: it is alive, whatever a policy says about its count.
    [[nodiscard]] bool Joined(Time now);

    // A notification came, to everyone or to this partner alone; only the former are counted.
    void Notified(bool toEveryone, Time now);

    // A call was not answered in time, or the service says that it had to drop notifications.
    [[nodiscard]] bool Doubt(Time now);

    [[nodiscard]] bool TimePassed(Time now);
    // When to call TimePassed; Time::max() for never.
    Time Due() const { return m_due; }

    // The question could not be sent, and will be asked again later.
    void NotAsked(Time now);

    // The answer; nothing when the service or the bus's policy refuses it. Returns whether the
    // service is now usable, or usable again.
    [[nodiscard]] bool Counted(std::optional<std::uint64_t> count, Time now);

    bool IsFollowing() const { return m_state == State::Following || m_state == State::Doubtful; }

private:
    enum class State { Absent, Joining, Joined, Following, Doubtful };

    bool Ask(Time now);
    // When to compare next if nothing happens.
    Time AtRest(Time now) const;

    State m_state = State::Absent;
    bool m_isReliable = false;
    bool m_isAsking = false;
    Time m_due = Time::max();  // when to ask, or to ask again
    Time m_latest{0};          // when to ask, whether or not a burst is over
    Time m_lastNotified{0};
    // How long an answer may take before the question is asked again. Doubled each time, as a new
    // question makes the answer to the one before it worthless.
    Time m_patience = remote_limits::kCompareAtRest;
    std::uint64_t m_count = 0;     // the service's when it was last told
    std::uint64_t m_received = 0;  // how many have come since
};

}  // namespace applist
