// SPDX-License-Identifier: MIT

// The direct channels of an endpoint: connections to one partner each, on which the same object
// answers, without the bus between.
//
// The bus introduces: it lets a partner's request for a channel through or not, and says who the
// partner is. One end of a socket pair goes to it in the reply. The channel is used from the
// partner's first call over it, which is Connect, and closed when that does not come soon, when
// the partner leaves the bus or asks for another channel, and when the bus has gone. What a partner
// has sent before it left is executed, as far as there is room for the events that it does not
// read.
//
// A service that leaves a bus which stays, because that is stuck, keeps its channels: calls and
// events go on over them. When it is back it asks the bus who is still there. They end when
// it finds another bus there, or another service of its name.
//
// A channel may end while one of its calls is executed or one of its callbacks runs, so it is
// removed later, from the loop.
//
// Threads: the main loop's. Lifetime: its endpoint's.

#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "bus/OwnedFd.h"
#include "bus/SdBus.h"
#include "platform/PartnerTracker.h"

namespace applist {

class Endpoint;
class Wire;

class Channels {
public:
    explicit Channels(Endpoint& endpoint);
    ~Channels();
    Channels(const Channels&) = delete;
    Channels& operator=(const Channels&) = delete;

    // From now on `bus` says which partners leave it; its loop is `event`. Returns 0 or a negative
    // errno.
    int Attach(sd_bus* bus, sd_event* event);

    // The connection to the bus ends; the channels stay.
    void Detach() { m_partners.Follow(nullptr); }

    // Makes a channel for `partner`, whose name is on the bus, and closes the one that it has.
    // Returns the partner's end, or the negative errno that says why there is none: -ENOSPC when
    // there are too many, -ENOTRECOVERABLE when the bus's connection must end. Throws
    // std::bad_alloc.
    OwnedFd Open(const std::string& partner);

    // The first call over `partner`'s channel was Connect: from now on it is in use.
    void Confirm(const std::string& partner);

    // Returns the wire of `partner`'s channel, or null when it has none that is in use.
    Wire* WireOf(const std::string& partner) const;

    // Calls `work` with the wire of each channel that is in use.
    void ForEach(const std::function<void(Wire&)>& work) const;

    // Closes all at once.
    void CloseAll();

    // Executes nothing more, and sends what waits, until `deadline` at most.
    void SendLast(std::chrono::steady_clock::time_point deadline);

    // Says that nothing more comes, and lets the partners read all, until `deadline` at most.
    void AwaitEnds(std::chrono::steady_clock::time_point deadline);

private:
    struct Channel;

    static int OnTimeIsUp(sd_event_source* source, std::uint64_t time, void* userdata);
    static int OnConnected(sd_bus_message* signal, void* userdata, sd_bus_error* error);
    static int OnFirstRead(sd_event_source* source, void* userdata);
    static int OnDisconnected(sd_bus_message* signal, void* userdata, sd_bus_error* error);
    static int OnSweep(sd_event_source* source, void* userdata);

    int MakeSweep();
    int SetUp(Channel& channel, OwnedFd end);
    void Left(const std::string& partner);
    void End(Channel& channel);
    void Forget(const std::string& partner);
    void Sweep();

    Endpoint& m_endpoint;
    sd_event* m_event = nullptr;
    std::map<std::string, std::unique_ptr<Channel>> m_channels;
    // Their partners on the bus.
    PartnerTracker m_partners;
    UniqueSource m_sweep;  // on while a channel has ended
};

}  // namespace applist
