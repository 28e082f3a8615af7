// A bus on another machine, reached through ssh. Any thread: plain values.

#pragma once

#include <string>

namespace applist::ctl {

enum class RemoteBus { System, Session };

// Returns the address of a bus of `host`, which is anything that ssh takes for a destination: ssh
// is run here, and systemd-stdio-bridge there.
std::string RemoteBusAddress(const std::string& host, RemoteBus bus);

}  // namespace applist::ctl
