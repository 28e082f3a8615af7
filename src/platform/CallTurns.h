// SPDX-License-Identifier: MIT

// When the calls of a wire are executed. A call for which nobody waits is executed at once;
// otherwise the senders take turns. So a partner waits for one call of each other, however many
// they have sent. The loop lets the wires take turns in the same way: a call of each is executed,
// then one of the next.
//
// What has come in is read before each turn, since whoever has sent much must not win by it: of the
// calls that the bus has in line, the last one may be the only one of its sender. Reading shows
// only what the bus has passed on, and some pass on a few messages at a time. So the bus is asked a
// question, whose answer comes in behind everything that it had for this process: when calls have
// taken their time, before the next one; and before whoever sends more than may wait has a turn.
//
// Threads: the main loop's. Lifetime: its wire's; call Detach before the bus goes.

#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "bus/BusProbe.h"
#include "bus/Outbox.h"
#include "bus/SdBus.h"
#include "bus/TransportLimits.h"
#include "platform/HeldCalls.h"

namespace applist {

class Wire;

class CallTurns {
public:
    using Method = void (Wire::*)(sd_bus_message* call);
    struct Call {
        UniqueMessage message;
        Method method;
    };
    using Outcome = HeldCalls<Call>::Outcome;

    // While something waits in `outbox` nobody has a turn: so replies do not pile up. `isShared`
    // says whether there can be more than one sender.
    CallTurns(Wire& wire, Outbox& outbox, BusProbe& probe, const TransportLimits& limits,
              bool isShared);
    CallTurns(const CallTurns&) = delete;
    CallTurns& operator=(const CallTurns&) = delete;

    // Gives turns from the loop `event` from now on. Returns 0 or a negative errno.
    int Attach(sd_event* event);

    // Drops the calls that wait.
    void Detach();

    // Whether a call that has just come in is to be executed at once. Then nothing else is there,
    // and what earlier calls took does not matter any more.
    bool IsFree();

    // That took so long. Calls of any sender count.
    void Spent(std::chrono::steady_clock::duration time) { m_spent += time; }

    // Whether so many descriptors are open that no call should wait with those that it has brought.
    bool LacksDescriptors() const;

    // Makes `call`, with a body of `bytes`, wait for its sender's turn. Throws std::bad_alloc, and
    // then the call does not wait.
    Outcome Hold(const std::string& sender, std::size_t bytes, Call&& call);

    // The outbox has drained.
    void GoOn();

    // The probe has its answer.
    void EverythingIsIn();

private:
    bool HaveTakenTime() const { return m_spent >= transport_limits::kTurnTime; }
    static int OnTurn(sd_event_source* source, void* userdata);
    void TakeTurn();
    void ReadAhead();
    void AskWhetherEverythingIsIn();
    bool Schedule();

    Wire& m_wire;
    Outbox& m_outbox;
    BusProbe& m_probe;
    HeldCalls<Call> m_held;
    const bool m_isShared;
    UniqueSource m_turn;      // on while a call waits, and neither for the outbox nor the probe
    bool m_isAsking = false;  // the probe
    // What calls have taken since everything was in.
    std::chrono::steady_clock::duration m_spent{0};
};

}  // namespace applist
