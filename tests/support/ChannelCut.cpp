// SPDX-License-Identifier: MIT

// The linker sends the program's calls of sd_bus_send here (--wrap).

#include "support/ChannelCut.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>

namespace {

std::size_t g_left = 0;  // until it is cut, this message included

bool IsToBeLost(sd_bus* bus) {
    return g_left > 0 && sd_bus_is_bus_client(bus) == 0 && --g_left == 0;
}

}  // namespace

extern "C" {

int __real_sd_bus_send(sd_bus* bus, sd_bus_message* message, std::uint64_t* cookie);

int __wrap_sd_bus_send(sd_bus* bus, sd_bus_message* message, std::uint64_t* cookie) {
    return IsToBeLost(bus) ? -ENOMEM : __real_sd_bus_send(bus, message, cookie);
}
}

ChannelCut::ChannelCut(std::size_t place) {
    g_left = place;
}

ChannelCut::~ChannelCut() {
    g_left = 0;
}

bool ChannelCut::IsDone() const {
    return g_left == 0;
}
