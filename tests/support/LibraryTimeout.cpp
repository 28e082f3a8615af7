// SPDX-License-Identifier: MIT

// The linker sends the program's calls of sd_bus_set_method_call_timeout here (--wrap).

#include "support/LibraryTimeout.h"

#include <systemd/sd-bus.h>

#include <cstdint>

namespace {

std::uint64_t g_timeout = 0;

}  // namespace

extern "C" {

int __real_sd_bus_set_method_call_timeout(sd_bus* bus, std::uint64_t timeout);

int __wrap_sd_bus_set_method_call_timeout(sd_bus* bus, std::uint64_t timeout) {
    return __real_sd_bus_set_method_call_timeout(bus, g_timeout != 0 ? g_timeout : timeout);
}
}

LibraryTimeout::LibraryTimeout(std::chrono::microseconds timeout) {
    g_timeout = static_cast<std::uint64_t>(timeout.count());
}

LibraryTimeout::~LibraryTimeout() {
    g_timeout = 0;
}
