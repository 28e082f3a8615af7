// When the calls of an endpoint are executed. A call for which nobody waits is executed at once;
// otherwise the senders take turns. So a partner waits for one call of each other, however many
// they have sent.
//
// What has come in is read before each turn, since whoever has sent much must not win by it: of the
// calls that the bus has in line, the last one may be the only one of its sender. While the bus
// passes calls on more slowly than they are read here, some of the others still run before it.
//
// Threads: the main loop's. Lifetime: its endpoint's; call Detach before the bus goes.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "bus/Outbox.h"
#include "bus/SdBus.h"
#include "bus/TransportLimits.h"
#include "platform/HeldCalls.h"

namespace applist {

class Endpoint;

class CallTurns {
public:
    struct Call {
        UniqueMessage message;
        void (*execute)(Endpoint& endpoint, sd_bus_message* message);
    };
    using Outcome = HeldCalls<Call>::Outcome;

    // While something waits in `outbox` nobody has a turn: so replies do not pile up.
    CallTurns(Endpoint& endpoint, Outbox& outbox, const TransportLimits& limits);
    CallTurns(const CallTurns&) = delete;
    CallTurns& operator=(const CallTurns&) = delete;

    // Gives turns from the loop `event` from now on. Returns 0 or a negative errno.
    int Attach(sd_event* event);

    // Drops the calls that wait.
    void Detach();

    // Whether a call that has just come in is to be executed at once.
    bool IsFree() const;

    // Whether so many descriptors are open that no call should wait with those that it has brought.
    bool LacksDescriptors() const;

    // Makes `call`, with a body of `bytes`, wait for its sender's turn. Throws std::bad_alloc, and
    // then the call does not wait.
    Outcome Hold(const std::string& sender, std::size_t bytes, Call&& call);

    // The outbox has drained.
    void GoOn();

private:
    using Clock = std::chrono::steady_clock;

    static int OnTurn(sd_event_source* source, void* userdata);
    void TakeTurn();
    // Returns whether nothing more has come in.
    bool ReadAhead();
    bool Schedule();

    Endpoint& m_endpoint;
    Outbox& m_outbox;
    HeldCalls<Call> m_held;
    UniqueSource m_turn;            // on while a call waits and has not to wait for the outbox
    Clock::time_point m_allRead{};  // when nothing more had come in
};

}  // namespace applist
