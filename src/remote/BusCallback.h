// Between sd-bus and a member function: what is thrown stays on this side, and the object stays
// alive while it runs, though its owner may let it go meanwhile.

#pragma once

#include <memory>

#include "bus/SdBus.h"
#include "common/Guarded.h"

namespace applist {

// `Object` has a KeepAlive() that returns whatever keeps it.
template <class Object, void (Object::*member)(sd_bus_message* message), int result>
int OnBusMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
    Object* const object = static_cast<Object*>(userdata);
    const std::shared_ptr<void> alive = object->KeepAlive();
    Guarded("following the service", [&] { (object->*member)(message); });
    return result;
}

// For a reply, and for a signal, which others may want to see, too.
template <class Object, void (Object::*member)(sd_bus_message* message)>
constexpr sd_bus_message_handler_t kOnReply = OnBusMessage<Object, member, kReplyTaken>;
template <class Object, void (Object::*member)(sd_bus_message* message)>
constexpr sd_bus_message_handler_t kOnSignal = OnBusMessage<Object, member, 0>;

}  // namespace applist
