// SPDX-License-Identifier: MIT

#include "apps/applistctl/Host.h"

namespace applist::ctl {

namespace {

// Slower than for a local bus: each attempt is an ssh that logs in on the other machine, and may
// ask a person for a password.
constexpr std::chrono::seconds kFirstRetry{1};
constexpr std::chrono::seconds kLastRetry{60};

}  // namespace

BusLocation BusOf(const std::string& host, RemoteBus bus, std::chrono::microseconds timeout) {
    const bool isSession = bus == RemoteBus::Session;
    BusLocation location;
    location.description = "the bus of " + host;
    // -xT: no X11 and no terminal over there. After --, a host whose name begins with - cannot pass
    // as an option, and so cannot make ssh run a command here.
    location.address = "unixexec:path=ssh,argv1=-xT,argv2=--,argv3=" + BusAddressValue(host) +
                       ",argv4=systemd-stdio-bridge" + (isSession ? ",argv5=--user" : "");
    location.timeout = timeout;
    location.advice = "try ssh " + host + " systemd-stdio-bridge" + (isSession ? " --user" : "") +
                      ", or allow more time with --timeout";
    location.retry = BusRetry{kFirstRetry, kLastRetry, timeout};
    return location;
}

}  // namespace applist::ctl
