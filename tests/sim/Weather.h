// SPDX-License-Identifier: MIT

// What kind of a round it is: which faults there are in it, how often, and what is therefore
// promised. Each round knows only some kinds, so that no kind hides what another one finds.

#pragma once

#include <string>

#include "sim/Faults.h"
#include "sim/Random.h"
#include "sim/SimBus.h"

namespace sim {

struct Weather {
    // `only` names the one kind of fault that there may be; empty for any.
    static Weather Draw(Random& random, const std::string& only);

    // In good weather nothing may fail, nothing be late and nothing be logged as an error.
    bool IsGood() const { return isGood; }

    bool isGood = false;
    // Whatever the list shows, a partner shows this much later at the latest; kNever: no promise.
    Usec freshWithin = kNever;
    // And this much later after the bus stuck to the service; kNever: no promise.
    Usec backWithin = kNever;

    Faults faults;
    BusKind bus;
    bool hasChannels = false;  // direct ones
    unsigned largeNames = 0;   // of a thousand names
    bool hasHugeName = false;
    bool isChatty = false;  // the application tells of one write many times
    unsigned editsInARow = 1;

    // What befalls processes and the bus.
    bool restarts = false;
    bool kills = false;
    bool stops = false;
    bool absences = false;
    bool stalls = false;
    bool sticks = false;
    bool jumps = false;
    bool disconnects = false;
    bool squats = false;
    bool refusesCalls = false;
    bool refusesNames = false;
    bool attacks = false;

    // What may make one give up a connection that seems to work.
    bool forgivesPartners = false;
    bool forgivesService = false;
};

}  // namespace sim
