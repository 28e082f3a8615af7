// A bus on another machine, reached through ssh.

#pragma once

#include <chrono>
#include <string>

#include "bus/BusSelection.h"

namespace applist::ctl {

enum class RemoteBus { System, Session };

// Returns a bus of `host`, which is anything that ssh takes for a destination: ssh is run here, and
// systemd-stdio-bridge there. A person may need `timeout` to log in, each time that the connection
// is made anew.
BusLocation BusOf(const std::string& host, RemoteBus bus, std::chrono::microseconds timeout);

}  // namespace applist::ctl
