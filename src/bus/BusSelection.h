// SPDX-License-Identifier: MIT

// Which bus the endpoints of this process use. Choose before the first endpoint is built; the
// choice holds for the whole process.
//
// Threads: the main loop's.

#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>

#include "bus/TransportLimits.h"
#include "common/Export.h"

namespace applist {

enum class BusKind {
    // The bus that started the process, when it was bus-activated; else the session bus, when there
    // is one; else the system bus.
    Automatic,
    Session,
    System,
};

// When to try to reach a bus again that went away.
struct BusRetry {
    std::chrono::microseconds first;    // after the loss
    std::chrono::microseconds last;     // after an attempt, at most
    std::chrono::microseconds attempt;  // how long one may take before it gives way to the next

    // How long to wait after an attempt that followed a wait of `delay`.
    std::chrono::microseconds After(std::chrono::microseconds delay) const {
        return std::min(delay * 2, last);
    }
};

struct BusLocation {
    std::string description;  // for people: "the session bus at unix:path=…"
    std::string address;
    std::chrono::microseconds timeout = transport_limits::kStartTimeout;
    // What a person can do when it cannot be reached.
    std::string advice = "check that the bus is running, or choose another one";
    std::optional<BusRetry> retry = std::nullopt;  // not set: each endpoint uses its own
};

// Endpoints built from now on come up on this bus. Without a call: BusKind::Automatic.
APPLIST_EXPORT void SelectBus(BusKind kind);

// Endpoints built from now on come up on the bus at `address`, in D-Bus's notation
// ("unix:path=/run/user/1000/bus").
APPLIST_EXPORT void SelectBusAddress(const std::string& address);

// The same for a bus of which more is known. Its own timeout holds, whatever SetBusTimeout says.
APPLIST_EXPORT void SelectBus(const BusLocation& location);

// Returns `bytes`, such as a path, escaped for use as a value in an address, where some characters
// have a meaning.
APPLIST_EXPORT std::string BusAddressValue(const std::string& bytes);

// Sets how long a bus may take to answer while an endpoint is built; 5 s without a call. When a
// person has to type a password first it takes more; the bus library allows 90 s at most.
APPLIST_EXPORT void SetBusTimeout(std::chrono::microseconds timeout);

// Returns where an endpoint built now would come up. Looks at the choice above and at the
// environment (DBUS_STARTER_ADDRESS, DBUS_STARTER_BUS_TYPE, DBUS_SESSION_BUS_ADDRESS,
// DBUS_SYSTEM_BUS_ADDRESS, XDG_RUNTIME_DIR), not at whether a bus answers there.
// Throws TransportError when the session bus was chosen and nothing says where it is.
APPLIST_EXPORT BusLocation SelectedBus();

}  // namespace applist
