// SPDX-License-Identifier: MIT

// Taking a name on the bus, or saying why that failed.

#pragma once

#include <string>

#include "bus/BusSelection.h"
#include "bus/SdBus.h"

namespace applist {

// How often a name that is refused is asked for again, after a knock. Three refusals may be out of
// date: the bus writes to a connection that has ended, sees that it has in its next round, and may
// have read one more question in either.
constexpr int kNameRetakes = 3;

// Has the bus look whether the owner of `name` is still there. A bus that reads nothing from a
// connection, since somebody does not read what that one sent, does not see that it has ended,
// and leaves it its name until there is something to send to it.
void KnockAtOwner(sd_bus* bus, const std::string& name);

// Owns `name` on `bus`, which is the one at `location`, and waits for the bus to answer. Throws
// TransportError when the name is taken (the text says by which process), when the bus's policy
// refuses it, or when the bus does not answer. Never queues for the name: two services of one name
// are a mistake that somebody should hear of.
void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location);

}  // namespace applist
