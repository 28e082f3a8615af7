#include "apps/applistctl/Host.h"

#include "bus/BusSelection.h"

namespace applist::ctl {

// No X11, no terminal over there. What follows -- is no option, whatever a host is called.
std::string RemoteBusAddress(const std::string& host, RemoteBus bus) {
    std::string address = "unixexec:path=ssh,argv1=-xT,argv2=--,argv3=" + BusAddressValue(host) +
                          ",argv4=systemd-stdio-bridge";
    if (bus == RemoteBus::Session) address += ",argv5=--user";
    return address;
}

}  // namespace applist::ctl
