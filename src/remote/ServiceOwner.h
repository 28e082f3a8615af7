// Who owns a service's name on the bus, now and later; and the bus's starting of a service that
// nobody runs.
//
// Threads: the main loop's. Lifetime: goes before the bus link.

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "bus/BusLink.h"
#include "bus/SdBus.h"

namespace applist {

class ServiceOwner {
public:
    // `onOwner` is told the unique name of the owner of `name`, empty when there is none: first
    // when the bus has said so, and again whenever it says anything. It may end the owner of this
    // object, which is kept alive by what `keepAlive` returns.
    ServiceOwner(BusLink& link, std::string name, std::function<std::shared_ptr<void>()> keepAlive,
                 std::function<void(const std::string& owner)> onOwner);
    ServiceOwner(const ServiceOwner&) = delete;
    ServiceOwner& operator=(const ServiceOwner&) = delete;

    // Whether the bus is asked to start the service, once for each connection, when nobody owns the
    // name.
    void SetStarts(bool starts) { m_starts = starts; }

    // Follows the name on the link's present connection. Throws TransportError.
    void Follow();
    void StopFollowing();

    // Asks once more. Throws TransportError.
    void Ask();

    std::shared_ptr<void> KeepAlive() const { return m_keepAlive(); }

private:
    void OnFollowed(sd_bus_message* answer);
    void OnChanged(sd_bus_message* signal);
    void OnOwner(sd_bus_message* answer);
    void Start();
    void OnStarted(sd_bus_message* answer);
    int CallDriver(UniqueSlot& slot, const char* member, sd_bus_message_handler_t onAnswer);

    BusLink& m_link;
    const std::string m_name;
    const std::function<std::shared_ptr<void>()> m_keepAlive;
    const std::function<void(const std::string& owner)> m_onOwner;
    bool m_starts = true;
    bool m_hasStarted = false;  // was asked to, on this connection
    UniqueSlot m_match;
    UniqueSlot m_answer;
};

}  // namespace applist
