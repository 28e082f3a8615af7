// SPDX-License-Identifier: MIT

// A program that shows the service's list, in whatever way it comes to know it.

#pragma once

#include "sim/Program.h"
#include "sim/Versions.h"

namespace sim {

class Follower : public Program {
public:
    using Program::Program;

    virtual bool SeesService() const = 0;
    // REQUIRES: IsUp().
    virtual Content Shown() = 0;
};

}  // namespace sim
