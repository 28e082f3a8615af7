// SPDX-License-Identifier: MIT

// A bus on another machine, reached through ssh.

#pragma once

#include <chrono>
#include <string>

#include "bus/BusSelection.h"

namespace applist::ctl {

enum class RemoteBus { System, Session };

// Returns the location of a bus on `host`, which is anything that ssh takes as a destination: ssh
// is run here, and systemd-stdio-bridge there. `timeout` is the time to log in, which a person may
// need again each time that the connection is made anew.
BusLocation BusOf(const std::string& host, RemoteBus bus, std::chrono::microseconds timeout);

}  // namespace applist::ctl
