// SPDX-License-Identifier: MIT

// Questions to the bus, which handles what it gets in order. So its answer tells two things: it has
// taken everything that was sent before, and everything that it had for us has come in.
//
// The first cannot be taken for granted: a bus reads nothing more from a connection for which it
// keeps too much, because somebody does not read what is for him. That shows nowhere else, as the
// socket still takes hundreds of messages; but no call is answered any more. So the bus is asked
// from time to time while something is sent. A silent connection asks nothing.
//
//         Sent          after kProbeDelay           after kProbePatience
//   Quiet ───────▶ Due ───────────────────▶ Asked ───────────────────────▶ AskedAgain ───▶ onStuck
//     ▲                       Ask           │                              │      │           ▲
//     └─────────────────────────────────────┴──────────────────────────────┤      ▼           │
//                                answer                                    └──── Late ────────┘
//
// Twice, as a bus drops what it says to a connection that somebody floods. And AskedAgain becomes
// Late first when there is something to read or to send: then it may have been this process that
// was held up.
//
// Threads: the main loop's. Lifetime: call Detach before the bus goes.

#pragma once

#include <cstdint>
#include <functional>

#include "bus/SdBus.h"

namespace applist {

// Returns a call that every bus answers, and that no policy of a distribution refuses as it does a
// ping; nothing when there is no memory for it.
UniqueMessage QuestionToTheBus(sd_bus* bus);

class BusProbe {
public:
    // Both are called from the loop. `onAnswered` says that the last question has been answered;
    // `onStuck` that the bus takes nothing more, and is asked nothing more: it must give the
    // connection up.
    BusProbe(std::function<void()> onAnswered, std::function<void()> onStuck);
    BusProbe(const BusProbe&) = delete;
    BusProbe& operator=(const BusProbe&) = delete;

    // Asks over `bus` from now on. Returns 0 or a negative errno.
    int Attach(sd_bus* bus, sd_event* event);
    void Detach();

    // Something was sent: the bus is to be asked soon.
    void Sent();

    // Asks now, and forgets an earlier question. Returns false when there is no memory for it.
    bool Ask();

private:
    enum class State { Quiet, Due, Asked, AskedAgain, Late };

    static int OnAnswer(sd_bus_message* answer, void* userdata, sd_bus_error* error);
    static int OnTime(sd_event_source* source, std::uint64_t now, void* userdata);

    void Deceived();
    void TimeIsUp();
    void Enter(State state);
    bool Send();
    bool CouldGoOn() const;

    const std::function<void()> m_onAnswered;
    const std::function<void()> m_onStuck;
    sd_bus* m_bus = nullptr;
    UniqueSource m_timer;
    UniqueSlot m_answer;
    State m_state = State::Quiet;
    bool m_hasSentSince = false;  // the last question
};

}  // namespace applist
