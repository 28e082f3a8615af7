// SPDX-License-Identifier: MIT

// Which way a partner talks to its service: through the bus, or over a direct channel, with nobody
// between.
//
// Threads: one, since the choice lies in the environment.

#pragma once

#include <cstdlib>
#include <string>

#include "bus/BusSelection.h"

namespace bench {

enum class Way { Bus, Channel };

// Holds for partners that are built from now on, on the bus at `address`, and counts when they find
// their service.
inline void Choose(const std::string& address, Way way) {
    applist::SelectBusAddress(address);
    setenv("APPLIST_DIRECT", way == Way::Bus ? "0" : "1", /* overwrite */ 1);
}

}  // namespace bench
