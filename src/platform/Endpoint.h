// SPDX-License-Identifier: MIT

// An endpoint on D-Bus: the name by which partners find it, who they are, the wires on which its
// object answers, and its return after the bus went away. TesselDbusLocal.h holds the contract.
//
// Threads: the main loop's. Lifetime: its owner's, whose entry points it calls only from the loop.

#pragma once

#include <systemd/sd-id128.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bus/BusLink.h"
#include "bus/TransportLimits.h"
#include "ipc/TesselDbusLocal.h"
#include "platform/Channels.h"
#include "platform/PartnerTracker.h"
#include "platform/Wire.h"

namespace applist {

class Endpoint {
public:
    // Comes up on the selected bus, or throws TransportError.
    Endpoint(TesselDbusLocal& owner, const std::string& name);

    // Sends what waits, for transport_limits::kFlushTimeout at most, and leaves the bus.
    ~Endpoint();

    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // Sends `body` to `partner`, or to everyone who listens when that is empty.
    void SendNotification(const std::vector<char>& body, const std::string& partner);

    // For its wires.
    TesselDbusLocal& Application() const { return m_owner; }
    const std::string& Path() const { return m_path; }
    const TransportLimits& Limits() const { return m_limits; }
    const std::string& Where() const { return m_link.Location().description; }
    std::uint64_t Serial() const { return m_serial; }
    std::size_t PartnerCount() const { return m_partners.Count(); }

    // The methods of the interface that concern more than one wire. Each answers `call`, which came
    // in over `wire`, or throws std::bad_alloc or std::system_error.
    void Connect(Wire& wire, sd_bus_message* call);
    void Disconnect(Wire& wire, sd_bus_message* call);
    void Channel(Wire& wire, sd_bus_message* call);

    // For its channels: that of `partner` has ended.
    void ChannelEnded(const std::string& partner);

private:
    static int OnNameAnswer(sd_bus_message* message, void* userdata, sd_bus_error* error);

    void ForEachWireTo(const std::string& partner, const std::function<void(Wire&)>& work);
    void Report(bool state, const std::string& partner);
    [[noreturn]] void FollowingFailed();

    void Export();  // on a connection that has just come up
    int TakeNameBack();
    void Owned();  // the name is ours
    void CloseChannels();
    void Leave(int error);
    void Lost();  // undoes it all

    TesselDbusLocal& m_owner;
    const std::string m_busName;
    const std::string m_path;
    const TransportLimits m_limits;  // those in force when it was built

    BusLink m_link;
    Wire m_bus;
    Channels m_channels;
    UniqueSlot m_nameAnswer;
    PartnerTracker m_partners;
    int m_retakes = 0;         // how often the name is still asked for again on this connection
    bool m_owned = false;      // there is a bus now, and the name on it is ours
    bool m_isLeaving = false;  // the bus has not gone, we have
    sd_id128_t m_busId{};      // of the bus on which the name was ours last
    bool m_isBuilt = false;    // the constructor has finished
    // Notifications to the default destination so far, merged and dropped ones included.
    std::uint64_t m_serial = 0;
};

}  // namespace applist
