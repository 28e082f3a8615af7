#include "platform/BusConnection.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>

#include "common/PrintableText.h"
#include "platform/TransportError.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string TextOf(int error) {
    return std::generic_category().message(-error);
}

TransportError CannotReach(const BusLocation& location, int error) {
    return TransportError("cannot reach " + location.description + ": " + TextOf(error) +
                          "; check that the bus runs, or choose another one");
}

// Who owns `name`, as far as the bus and /proc tell.
std::string OwnerOf(sd_bus* bus, const std::string& name) {
    sd_bus_creds* found = nullptr;
    const std::uint64_t mask = SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_AUGMENT;
    if (sd_bus_get_name_creds(bus, name.c_str(), mask, &found) < 0) return "another process";
    const UniqueCreds creds(found);
    pid_t pid = 0;
    if (sd_bus_creds_get_pid(creds.get(), &pid) < 0) return "another process";
    const char* command = nullptr;
    if (sd_bus_creds_get_comm(creds.get(), &command) < 0) command = "?";
    return "process " + std::to_string(pid) + " (" + PrintableText(command) + ")";
}

// Says why `name` was not to be had, from the negative errno of the request for it.
std::string WhyNotOwned(sd_bus* bus, const std::string& name, const BusLocation& location,
                        int error) {
    const std::string start = "cannot own " + name + " on " + location.description + ": ";
    switch (-error) {
        case EEXIST: return start + "taken by " + OwnerOf(bus, name) + "; stop that one first";
        case EACCES:
        case EPERM:
            return start +
                   "the bus's policy does not allow it; install a policy that lets this "
                   "user own the name";
        default: return start + TextOf(error);
    }
}

}  // namespace

UniqueBus OpenBus(const BusLocation& location) {
    sd_bus* made = nullptr;
    int result = sd_bus_new(&made);
    UniqueBus bus(made);
    if (result >= 0) result = sd_bus_set_address(bus.get(), location.address.c_str());
    if (result >= 0) result = sd_bus_set_bus_client(bus.get(), 1);
    if (result >= 0) result = sd_bus_set_description(bus.get(), "applist");
    // The end of the loop is no reason to close, nor to flush without a deadline: the endpoint does
    // both when it is destroyed.
    if (result >= 0) result = sd_bus_set_close_on_exit(bus.get(), 0);
    if (result >= 0) {
        result = sd_bus_set_method_call_timeout(
            bus.get(), static_cast<std::uint64_t>(location.timeout.count()));
    }
    if (result >= 0) result = sd_bus_start(bus.get());
    if (result < 0) throw CannotReach(location, result);
    return bus;
}

void WaitForBus(sd_bus* bus, const BusLocation& location) {
    const Clock::time_point deadline = Clock::now() + location.timeout;
    for (;;) {
        const int ready = sd_bus_is_ready(bus);
        if (ready > 0) return;
        if (ready < 0) throw CannotReach(location, ready);
        const int progress = sd_bus_process(bus, nullptr);
        if (progress < 0) throw CannotReach(location, progress);
        if (sd_bus_is_open(bus) <= 0) throw CannotReach(location, -ECONNRESET);
        if (progress > 0) continue;
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        if (left.count() <= 0) throw CannotReach(location, -ETIMEDOUT);
        const int waited = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
        if (waited < 0 && waited != -EINTR) throw CannotReach(location, waited);
    }
}

void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location) {
    const int result = sd_bus_request_name(bus, name.c_str(), 0);
    if (result < 0) throw TransportError(WhyNotOwned(bus, name, location, result));
}
