// SPDX-License-Identifier: MIT

// Many rounds, and what they amount to.

#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

namespace sim {

struct Plan {
    std::uint64_t seed = 1;  // of the first round; each further one adds 1
    std::uint64_t rounds = 1000;
    std::FILE* history = nullptr;
    std::string only;  // the one kind of fault; empty for any
    bool goesOnAfterFailure = false;
};

// Runs the rounds, prints failures and figures, and returns how many rounds failed.
int Simulate(const Plan& plan);

}  // namespace sim
