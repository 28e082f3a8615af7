// SPDX-License-Identifier: MIT

// The daemon's command line.

#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "applist/ServiceLimits.h"
#include "bus/TransportLimits.h"

namespace applist::daemon {

struct Options {
    std::string itemsFile;  // "-" is standard input; empty: what is installed on this machine
    bool interactive = false;
    bool session = false;
    bool system = false;
    std::string address;  // empty: `session` and `system` decide; of the three one is set at most
    bool verbose = false;
    ServiceLimits serviceLimits;
    TransportLimits transportLimits;  // that SetTransportLimits takes
};

// Says what is wrong with a command line and what to do, in one line.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Returns what the command line asks for, or nothing if that was the help or the version, which
// have then been printed. Throws UsageError, or another exception when those cannot be printed.
std::optional<Options> ParseOptions(int argc, const char* const* argv);

}  // namespace applist::daemon
