// SPDX-License-Identifier: MIT

// What can be learned of a service without becoming its partner.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

struct Status {
    std::string bus;                        // which one, for people
    std::string owner;                      // the service's unique name there
    std::optional<std::uint32_t> pid;       // of the service, on its machine, if the bus says so
    std::optional<std::string> program;     // known on this machine alone
    std::size_t items = 0;                  // how many there are
    std::optional<Entry> selection;         // nothing when nothing is selected
    std::optional<std::uint32_t> partners;  // not told by services of before 0.2
    std::optional<std::uint64_t> serial;    // how many notifications went to everyone
};

}  // namespace applist::ctl
