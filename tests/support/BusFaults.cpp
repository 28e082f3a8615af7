// The linker sends the program's calls of sd_bus_process here (--wrap).

#include "support/BusFaults.h"

#include <systemd/sd-bus.h>

namespace {

int g_error = 0;

}  // namespace

extern "C" {

int __real_sd_bus_process(sd_bus* bus, sd_bus_message** message);

int __wrap_sd_bus_process(sd_bus* bus, sd_bus_message** message) {
    return g_error != 0 ? g_error : __real_sd_bus_process(bus, message);
}
}

FailingBusProcess::FailingBusProcess(int error) {
    g_error = error;
}

FailingBusProcess::~FailingBusProcess() {
    g_error = 0;
}
