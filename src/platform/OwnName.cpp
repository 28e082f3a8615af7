// SPDX-License-Identifier: MIT

#include "platform/OwnName.h"

#include <cerrno>
#include <chrono>
#include <cstring>

#include "bus/EndpointNames.h"
#include "bus/TransportError.h"
#include "common/Joined.h"
#include "common/PrintableText.h"

namespace applist {

namespace {

// Who owns `name`, as far as the bus and /proc tell: by now it may be somebody else, or nobody.
std::string OwnerOf(sd_bus* bus, const std::string& name) {
    sd_bus_creds* found = nullptr;
    const std::uint64_t mask = SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_AUGMENT;
    if (sd_bus_get_name_creds(bus, name.c_str(), mask, &found) < 0) return "another process";
    const UniqueCreds creds(found);
    pid_t pid = 0;
    if (sd_bus_creds_get_pid(creds.get(), &pid) < 0) return "another process";
    const char* command = nullptr;
    if (sd_bus_creds_get_comm(creds.get(), &command) < 0) command = "?";
    return Joined(
        {"process ", Decimal(static_cast<std::uint64_t>(pid)), " (", PrintableText(command), ")"});
}

std::string ReasonOf(sd_bus* bus, const std::string& name, int error) {
    switch (-error) {
        case EEXIST:
            return Joined({"it is taken by ", OwnerOf(bus, name), "; stop that process first"});
        case EACCES:
        case EPERM:
            return "the bus's policy does not allow it; install a policy that lets this user own "
                   "the name";
        default: return std::strerror(-error);
    }
}

// Says why `name` could not be owned, from the negative errno of the request for it.
std::string WhyNotOwned(sd_bus* bus, const std::string& name, const BusLocation& location,
                        int error) {
    return Joined(
        {"cannot own ", name, " on ", location.description, ": ", ReasonOf(bus, name, error)});
}

// A signal to this process may interrupt the wait for the answer. Asked again, the bus may say that
// the name is ours by now.
int RequestName(sd_bus* bus, const std::string& name, std::chrono::microseconds timeout) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point deadline = Clock::now() + timeout;
    int result = sd_bus_request_name(bus, name.c_str(), 0);
    while (result == -EINTR && Clock::now() < deadline) {
        result = sd_bus_request_name(bus, name.c_str(), 0);
        if (result == -EALREADY) return 0;
    }
    return result;
}

}  // namespace

void KnockAtOwner(sd_bus* bus, const std::string& name) {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_signal(bus, &made, "/", endpoint_names::kInterface, "Knock");
    const UniqueMessage knock(made);
    if (result >= 0) result = sd_bus_message_set_destination(made, name.c_str());
    // If the owner has just left, nothing is to be started in its place.
    if (result >= 0) result = sd_bus_message_set_auto_start(made, 0);
    if (result >= 0) sd_bus_send(bus, made, nullptr);
}

void OwnName(sd_bus* bus, const std::string& name, const BusLocation& location) {
    int result = RequestName(bus, name, location.timeout);
    for (int again = 0; result == -EEXIST && again < kNameRetakes; ++again) {
        KnockAtOwner(bus, name);
        result = RequestName(bus, name, location.timeout);
    }
    if (result < 0) throw TransportError(WhyNotOwned(bus, name, location, result));
}

}  // namespace applist
