// SPDX-License-Identifier: MIT

// Owning pointers for what sd-bus and sd-event hand out.

#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>

#include "common/Guarded.h"

namespace applist {

template <class T, T* (*Release)(T*)>
struct SdReleaser {
    void operator()(T* object) const { Release(object); }
};

// What the callback of a reply returns. After a 0 sd-bus would go on with the reply, and fail an
// assertion of its own if the callback has just found the connection dead.
constexpr int kReplyTaken = 1;

// What an error says, or else its name. The error's own.
inline const char* TextOf(const sd_bus_error& error) {
    return error.message == nullptr ? error.name : error.message;
}

// Whether it only says that nobody answered.
inline bool IsSilence(const sd_bus_error& error) {
    return sd_bus_error_has_names(&error, SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_TIMEOUT) > 0;
}

// Closes the connection at once; whatever still waits in it is lost. Without the close, messages
// that wait in the connection and refer to it would keep it alive.
using UniqueBus = std::unique_ptr<sd_bus, SdReleaser<sd_bus, sd_bus_close_unref>>;
using UniqueSlot = std::unique_ptr<sd_bus_slot, SdReleaser<sd_bus_slot, sd_bus_slot_unref>>;
using UniqueMessage =
    std::unique_ptr<sd_bus_message, SdReleaser<sd_bus_message, sd_bus_message_unref>>;
using UniqueCreds = std::unique_ptr<sd_bus_creds, SdReleaser<sd_bus_creds, sd_bus_creds_unref>>;
// The default loop may outlive this: others hold references to it, too.
using UniqueEvent = std::unique_ptr<sd_event, SdReleaser<sd_event, sd_event_unref>>;
using UniqueSource =
    std::unique_ptr<sd_event_source, SdReleaser<sd_event_source, sd_event_source_disable_unref>>;

}  // namespace applist
