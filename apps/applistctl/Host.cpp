#include "apps/applistctl/Host.h"

namespace applist::ctl {

namespace {

// Each attempt is an ssh, which asks the other machine, and perhaps a person, to let it in.
constexpr std::chrono::seconds kFirstRetry{1};
constexpr std::chrono::seconds kLastRetry{60};

}  // namespace

BusLocation BusOf(const std::string& host, RemoteBus bus, std::chrono::microseconds timeout) {
    const bool isSession = bus == RemoteBus::Session;
    BusLocation location;
    location.description = "the bus of " + host;
    // No X11, no terminal over there. What follows -- is no option, whatever a host is called.
    location.address = "unixexec:path=ssh,argv1=-xT,argv2=--,argv3=" + BusAddressValue(host) +
                       ",argv4=systemd-stdio-bridge" + (isSession ? ",argv5=--user" : "");
    location.timeout = timeout;
    location.advice = "try ssh " + host + " systemd-stdio-bridge" + (isSession ? " --user" : "") +
                      ", or allow more time with --timeout";
    location.retry = BusRetry{kFirstRetry, kLastRetry, timeout};
    return location;
}

}  // namespace applist::ctl
