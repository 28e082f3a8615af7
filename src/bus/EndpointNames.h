// SPDX-License-Identifier: MIT

// The names that an endpoint and its partner use on D-Bus. They are the protocol: a partner in
// another language knows them as text.

#pragma once

#include <string>

#include "common/Joined.h"

namespace applist {

namespace endpoint_names {

// The 1 is the version of the interface: a change that a partner would notice makes it a 2.
constexpr char kInterface[] = "org.tessel.Local1";
constexpr char kNotification[] = "Notification";
constexpr char kLost[] = "Lost";
constexpr char kChannel[] = "Channel";
// The last message of a partner over its channel: see Carrier::SayFarewell.
constexpr char kLeft[] = "Left";

// The errors of our own that a call can end with; docs/protocol.md tells a partner what each means.
constexpr char kHandlerFailed[] = "org.tessel.Local1.Error.HandlerFailed";
constexpr char kTooLarge[] = "org.tessel.Local1.Error.TooLarge";
constexpr char kBadFd[] = "org.tessel.Local1.Error.BadFd";

// Return the bus name and the object path of the endpoint `name`, which is not checked here.
inline std::string BusNameOf(const std::string& name) {
    return Joined({"org.tessel.Local.", name});
}
inline std::string PathOf(const std::string& name) {
    return Joined({"/org/tessel/Local/", name});
}

}  // namespace endpoint_names

}  // namespace applist
