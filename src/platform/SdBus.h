// Owners for what sd-bus and sd-event hand out, and the one rule for their callbacks.
//
// Internal to src/platform. Threads: the main loop's.

#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <exception>
#include <memory>

#include "common/AppListLog.h"

template <class T, T* (*Release)(T*)>
struct SdReleaser {
    void operator()(T* object) const { Release(object); }
};

// Closes the connection at once; what still waits in it is lost.
using UniqueBus = std::unique_ptr<sd_bus, SdReleaser<sd_bus, sd_bus_close_unref>>;
using UniqueSlot = std::unique_ptr<sd_bus_slot, SdReleaser<sd_bus_slot, sd_bus_slot_unref>>;
using UniqueMessage =
    std::unique_ptr<sd_bus_message, SdReleaser<sd_bus_message, sd_bus_message_unref>>;
using UniqueCreds = std::unique_ptr<sd_bus_creds, SdReleaser<sd_bus_creds, sd_bus_creds_unref>>;
using UniqueEvent = std::unique_ptr<sd_event, SdReleaser<sd_event, sd_event_unref>>;
using UniqueSource =
    std::unique_ptr<sd_event_source, SdReleaser<sd_event_source, sd_event_source_disable_unref>>;

// Runs `body`, and logs what it throws: a C++ exception never crosses a C frame. Returns whether
// it came to its end.
template <class Body>
bool Guarded(const char* what, Body body) noexcept {
    try {
        body();
        return true;
    } catch (const std::exception& error) {
        APPLIST_LOG(applist_log::kError, "%s failed: %s", what, error.what());
    } catch (...) {
        APPLIST_LOG(applist_log::kError, "%s failed: unknown exception", what);
    }
    return false;
}
