// SPDX-License-Identifier: MIT

// A connection to a bus that comes back by itself when the bus does.
//
// Threads: the main loop's, whose default sd-event loop it uses.
// Lifetime: its owner's, who frees the slots it made before the link goes.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "bus/BusSelection.h"
#include "bus/SdBus.h"
#include "bus/TransportLimits.h"

namespace applist {

class BusLink {
public:
    // `setUp` prepares a fresh connection for use and puts it on the loop; it may throw anything.
    // `lost` undoes that: it is called once for each connection that was set up, when the
    // connection has died or is given up, possibly from inside its dispatching. It may destroy the
    // link. After a loss the link tries to reconnect as the bus's location says; if that says
    // nothing, at intervals that grow to `lastRetry`.
    BusLink(std::function<void()> setUp, std::function<void()> lost,
            std::chrono::microseconds lastRetry = transport_limits::kLastRetry);
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    // Connects to the selected bus, waits until it answers, and sets the connection up. Throws
    // TransportError, or what `setUp` throws.
    void Open();

    // The connection; null before Open and while there is none. While the link comes back it may
    // not be usable yet.
    sd_bus* Bus() const { return m_bus.get(); }
    sd_event* Loop() const { return m_event.get(); }
    const BusLocation& Location() const { return m_location; }

    // Says that a connection which came back does its job again. One for which this is not said is
    // given up when the time of one attempt is over.
    void Settled();

    // Says that this connection is useless, as when the name cannot be owned on it: nothing more
    // comes in on it, and another one is tried later.
    void GiveUp();

    // Leaves the bus for good, without calling `lost`. Free the slots on it afterwards: each match
    // that is freed before costs the bus a call.
    void Close();

    // When the link does something by itself next, on the monotonic clock; max() when it does
    // nothing. The loop sees to that. Whoever waits without running it calls CatchUp, which does
    // what is due; not from inside the connection's dispatching. It may call `lost`.
    std::chrono::microseconds Due() const;
    void CatchUp();

    // Says that the connection has failed with a negative errno although the bus has not gone:
    // closes it, calls `lost`, and reconnects as after a loss. `lost` may destroy the link.
    void Abandon(int error);

private:
    static int OnDisconnected(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnRetry(sd_event_source* source, std::uint64_t now, void* userdata);

    void TimeIsUp();
    void Start();     // sets up a connection that has been opened
    void ComeBack();  // after a loss
    void Leave();
    void TryAgain();
    void Failed(const char* why);
    void MakeTimer();
    void ScheduleRetry(std::chrono::microseconds delay);

    const std::function<void()> m_setUp;
    const std::function<void()> m_lost;
    const BusLocation m_location;
    UniqueEvent m_event;
    UniqueBus m_bus;
    UniqueSlot m_disconnected;
    UniqueSource m_timer;         // for the next attempt
    bool m_isComingBack = false;  // from the loss until the connection has settled
    const BusRetry m_policy;
    std::chrono::microseconds m_retryDelay;
    bool m_isSetUp = false;    // `setUp` was called for m_bus, and `lost` is owed to it
    bool m_isGivenUp = false;  // whatever is still heard on the connection
};

}  // namespace applist
