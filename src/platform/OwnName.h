// Taking a name on the bus, and saying why it was not to be had.

#pragma once

#include <string>

#include "bus/BusSelection.h"
#include "bus/SdBus.h"

namespace applist {

// Owns `name` on `bus`, the one at `location`, and waits for the answer. Throws TransportError: the
// name is taken (the text says by which process), the bus's policy refuses it, the bus is silent.
void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location);

}  // namespace applist
