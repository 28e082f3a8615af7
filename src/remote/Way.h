// SPDX-License-Identifier: MIT

// A way to a service: a connection, and who it is on it. On a bus it has a unique name. A direct
// channel has nobody but the service at its other end, so its messages name neither sender nor
// destination.

#pragma once

#include <string>

#include "bus/BusNames.h"
#include "bus/SdBus.h"

namespace applist {

struct Way {
    sd_bus* connection = nullptr;
    std::string service;  // empty over a channel

    bool IsDirect() const { return connection != nullptr && service.empty(); }

    // Whether `signal` is the service's own. A match does not prove that: a signal that is sent to
    // us alone bypasses it, and anybody can send one.
    bool IsSignal(sd_bus_message* signal) const {
        const char* const sender = sd_bus_message_get_sender(signal);
        return IsDirect() || (sender != nullptr && service == sender);
    }

    // Whether `reply` is the service's own, or the bus's in its place.
    bool IsAnswer(sd_bus_message* reply) const {
        return IsDirect() || bus_names::IsAnswerOf(service, reply);
    }

    // Makes a call to the service's object for `endpoint`. Returns 0 or a negative errno.
    int NewCall(UniqueMessage& message, const std::string& endpoint, const char* interface,
                const char* member) const;
};

}  // namespace applist
