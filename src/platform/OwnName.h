// Taking a name on the bus, or saying why that failed.

#pragma once

#include <string>

#include "bus/BusSelection.h"
#include "bus/SdBus.h"

namespace applist {

// Owns `name` on `bus`, which is the one at `location`, and waits for the bus to answer. Throws
// TransportError when the name is taken (the text says by which process), when the bus's policy
// refuses it, or when the bus does not answer. Never queues for the name: two services of one name
// are a mistake that somebody should hear of.
void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location);

}  // namespace applist
