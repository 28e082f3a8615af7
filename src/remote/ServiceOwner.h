// SPDX-License-Identifier: MIT

// Follows who owns a service's name on the bus, and has the bus start the service when nobody does.
//
// Lifetime: destroyed before the bus link.

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bus/BusLink.h"
#include "bus/SdBus.h"
#include "bus/TransportError.h"

namespace applist {

class ServiceOwner {
public:
    // `onOwner` is called with the unique name of the owner of `name`, or an empty one when there
    // is none: when the bus has first said so, and each time that it says so again. It may lead to
    // the end of this object's owner, which is kept alive until then by what `keepAlive` returns.
    ServiceOwner(BusLink& link, std::string name, std::function<std::shared_ptr<void>()> keepAlive,
                 std::function<void(const std::string& owner)> onOwner);
    ServiceOwner(const ServiceOwner&) = delete;
    ServiceOwner& operator=(const ServiceOwner&) = delete;

    // Whether to ask the bus, once for each connection, to start the service when nobody owns the
    // name.
    void SetStarts(bool starts) { m_starts = starts; }

    // Starts and stops following the name on the link's present connection. Follow throws
    // TransportError.
    void Follow();
    void StopFollowing();

    // Asks the bus again who owns the name. Throws TransportError.
    void Ask();

    std::shared_ptr<void> KeepAlive() const { return m_keepAlive(); }
    void Failed() { m_link.GiveUp(); }

private:
    void OnFollowed(sd_bus_message* answer);
    void OnChanged(sd_bus_message* signal);
    void OnOwner(sd_bus_message* answer);
    void Start();
    void OnStarted(sd_bus_message* answer);
    TransportError Cannot(const char* what, int error) const;
    int CallDriver(UniqueSlot& slot, const char* member, sd_bus_message_handler_t onAnswer);

    BusLink& m_link;
    const std::string m_name;
    const std::function<std::shared_ptr<void>()> m_keepAlive;
    const std::function<void(const std::string& owner)> m_onOwner;
    bool m_starts = true;
    bool m_hasStarted = false;  // the bus was asked to start it, on this connection
    UniqueSlot m_match;
    UniqueSlot m_answer;  // of the one question that is open
};

}  // namespace applist
