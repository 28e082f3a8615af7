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
    // `setUp` makes a fresh connection useful, and puts it on the loop; it may throw anything.
    // `lost` undoes that: it is called once for each connection that had been set up, when it has
    // died or is given up, possibly from inside its dispatching. The link may be destroyed from
    // inside it. A bus that went away is looked for again as its location says, or else, at the
    // latest, `lastRetry` after an attempt has ended.
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

    // Says that a connection which came back serves its purpose. Until then it is given up after
    // the time of one attempt.
    void Settled();

    // Says that this connection is of no use; another is tried later.
    void GiveUp();

    // Leaves the bus for good, without a word to anyone. Slots on it go afterwards: each match that
    // goes before costs the bus a call.
    void Close();

    // Says that the connection has failed with a negative errno although the bus has not gone:
    // closes it, calls `lost`, and comes back like after a loss. May be the end of the link.
    void Abandon(int error);

private:
    static int OnDisconnected(sd_bus_message* message, void* userdata, sd_bus_error* error);
    static int OnRetry(sd_event_source* source, std::uint64_t now, void* userdata);

    void Start();
    void ComeBack();
    void Leave();
    void TryAgain();
    void Failed(const char* why);
    void ScheduleRetry(std::chrono::microseconds delay);

    const std::function<void()> m_setUp;
    const std::function<void()> m_lost;
    const BusLocation m_location;
    UniqueEvent m_event;
    UniqueBus m_bus;
    UniqueSlot m_disconnected;
    UniqueSource m_retry;
    const BusRetry m_policy;
    std::chrono::microseconds m_retryDelay;
    bool m_isSetUp = false;
};

}  // namespace applist
