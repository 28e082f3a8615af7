// What the bus itself is called, and how to hear from it who comes and goes.

#pragma once

#include <systemd/sd-bus.h>

#include <cstring>
#include <string>

namespace applist {

namespace bus_names {

constexpr char kDriver[] = "org.freedesktop.DBus";
constexpr char kDriverPath[] = "/org/freedesktop/DBus";

// Returns the match rule for the signal that `name` has a new owner, or none any longer. Further
// conditions may be appended, each behind a comma. Whoever acts on the signal asks IsFromDriver
// first: one that is sent to us directly needs no match, and anybody may send it.
inline std::string OwnerChangesOf(const std::string& name) {
    return std::string("type='signal',sender='") + kDriver + "',path='" + kDriverPath +
           "',interface='" + kDriver + "',member='NameOwnerChanged',arg0='" + name + "'";
}

// Whether the bus itself has sent `message`.
inline bool IsFromDriver(sd_bus_message* message) {
    const char* const sender = sd_bus_message_get_sender(message);
    return sender != nullptr && std::strcmp(sender, kDriver) == 0;
}

}  // namespace bus_names

}  // namespace applist
