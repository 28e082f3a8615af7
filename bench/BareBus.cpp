// SPDX-License-Identifier: MIT

#include "BareBus.h"

#include <unistd.h>

#include <cstring>
#include <stdexcept>

using applist::UniqueBus;
using applist::UniqueEvent;

namespace bench {

int Check(int result) {
    if (result < 0) throw std::runtime_error(std::strerror(-result));
    return result;
}

UniqueBus OpenBus(const std::string& address) {
    sd_bus* made = nullptr;
    Check(sd_bus_new(&made));
    UniqueBus bus(made);
    Check(sd_bus_set_address(bus.get(), address.c_str()));
    Check(sd_bus_set_bus_client(bus.get(), 1));
    Check(sd_bus_start(bus.get()));
    return bus;
}

void SayReady(int readyFd) {
    if (write(readyFd, "\n", 1) != 1) throw std::runtime_error("nobody waits for this service");
}

void ServeUntilKilled(int readyFd) {
    sd_event* loop = nullptr;
    Check(sd_event_default(&loop));
    const UniqueEvent owner(loop);
    SayReady(readyFd);
    Check(sd_event_loop(loop));
}

}  // namespace bench
