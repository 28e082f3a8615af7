// SPDX-License-Identifier: MIT

// Turns a member function into a callback of sd-bus: what it throws stays on this side, and its
// object stays alive while it runs, even if the object's owner drops it meanwhile.

#pragma once

#include <memory>

#include "bus/SdBus.h"
#include "common/Guarded.h"

namespace applist {

// REQUIRES: `Object` has a KeepAlive(), whose result keeps it alive.
template <class Object>
void HandOver(sd_bus_message* message, Object& object, void (Object::*member)(sd_bus_message*)) {
    const std::shared_ptr<void> alive = object.KeepAlive();
    if (!Guarded("following the service", [&] { (object.*member)(message); })) object.Failed();
}

template <class Object, void (Object::*member)(sd_bus_message* message), int result>
int OnBusMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
    HandOver(message, *static_cast<Object*>(userdata), member);
    return result;
}

// For a reply (bus/SdBus.h says why its callback returns 1), and for a signal, which goes on to the
// program's other matches.
template <class Object, void (Object::*member)(sd_bus_message* message)>
constexpr sd_bus_message_handler_t kOnReply = OnBusMessage<Object, member, kReplyTaken>;
template <class Object, void (Object::*member)(sd_bus_message* message)>
constexpr sd_bus_message_handler_t kOnSignal = OnBusMessage<Object, member, 0>;

}  // namespace applist
