// SPDX-License-Identifier: MIT

// What has to hold before a round means anything.

#pragma once

#include <string>

namespace sim {

// Whether the program really stands below the bus library: waits ten virtual seconds, which must
// not take as many real ones. Returns what is wrong; empty for nothing.
std::string WhyNotSimulated();

// One service and one partner on a good day, after a lost event, and with a service that stands.
// Returns what is wrong; empty for nothing.
std::string WhyNoBasics();

}  // namespace sim
