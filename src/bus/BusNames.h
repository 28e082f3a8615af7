// SPDX-License-Identifier: MIT

// What the bus itself is called, and how to hear from it who comes and goes.

#pragma once

#include <systemd/sd-bus.h>

#include <cstring>
#include <string>

#include "common/Joined.h"

namespace applist {

namespace bus_names {

constexpr char kDriver[] = "org.freedesktop.DBus";
constexpr char kDriverPath[] = "/org/freedesktop/DBus";

// Returns the match rule for the signal that `name` has a new owner, or no longer has one. More
// conditions may be appended, each after a comma. Whoever acts on the signal must ask IsFromDriver
// first: a signal that is sent to us directly passes any match, and anybody may send one.
inline std::string OwnerChangesOf(const std::string& name) {
    return Joined({"type='signal',sender='", kDriver, "',path='", kDriverPath, "',interface='",
                   kDriver, "',member='NameOwnerChanged',arg0='", name, "'"});
}

// Whether the bus itself has sent `message`. The bus fills in the sender, so nobody can forge it.
inline bool IsFromDriver(sd_bus_message* message) {
    const char* const sender = sd_bus_message_get_sender(message);
    return sender != nullptr && std::strcmp(sender, kDriver) == 0;
}

// Whether `reply` answers a call to `callee`, a unique name, or stands for its answer: then it is
// from the bus. The bus library takes a reply by its number alone, and a bus may let anybody's
// through, as a dbus-daemon for a session does.
inline bool IsAnswerOf(const std::string& callee, sd_bus_message* reply) {
    const char* const sender = sd_bus_message_get_sender(reply);
    return IsFromDriver(reply) || (sender != nullptr && callee == sender);
}

}  // namespace bus_names

}  // namespace applist
