// Getting onto a bus, in steps that an endpoint takes once while it is built and again when the
// bus comes back. Internal to src/platform. Threads: the main loop's.

#pragma once

#include <string>

#include "platform/BusSelection.h"
#include "platform/SdBus.h"

// Starts a connection as a client of the bus at `location`; it may not be usable yet. Its calls
// time out after the location's timeout. Throws TransportError.
UniqueBus OpenBus(const BusLocation& location);

// Waits until the connection is usable. Throws TransportError when it is not in time.
void WaitForBus(sd_bus* bus, const BusLocation& location);

// Owns `name`, or throws TransportError: taken (the text says by which process), refused by the
// bus's policy, no answer.
void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location);
