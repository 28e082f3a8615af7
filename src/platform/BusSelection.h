// Which bus the endpoints of this process come up on. Say it before the first endpoint is built.
//
// Threads: the main loop's. The choice is kept for the whole process.

#pragma once

#include <string>

enum class BusKind {
    // The bus that started the process, when it was bus-activated; else the session bus, when there
    // is one; else the system bus.
    Automatic,
    Session,
    System,
};

// Endpoints built from now on come up on this bus. Without a call: BusKind::Automatic.
void SelectBus(BusKind kind);

// Endpoints built from now on come up on the bus at `address`, in D-Bus's notation
// ("unix:path=/run/user/1000/bus").
void SelectBusAddress(const std::string& address);

struct BusLocation {
    std::string description;  // for people: "the session bus at unix:path=…"
    std::string address;
};

// Returns where an endpoint built now would come up. Looks at the choice above and at the
// environment (DBUS_STARTER_ADDRESS, DBUS_STARTER_BUS_TYPE, DBUS_SESSION_BUS_ADDRESS,
// DBUS_SYSTEM_BUS_ADDRESS, XDG_RUNTIME_DIR), not at whether a bus answers there.
// Throws TransportError when the session bus was chosen and nothing says where it is.
BusLocation SelectedBus();
