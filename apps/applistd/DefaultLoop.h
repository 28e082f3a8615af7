// SPDX-License-Identifier: MIT

// The sd-event loop that everything in the daemon lives on.

#pragma once

#include "apps/applistd/Checked.h"
#include "bus/SdBus.h"

namespace applist::daemon {

// Returns a reference to the calling thread's default loop, which is made if there is none. Throws
// std::system_error when the kernel refuses it.
inline UniqueEvent DefaultLoop() {
    sd_event* loop = nullptr;
    Checked(sd_event_default(&loop), "cannot create an event loop");
    return UniqueEvent(loop);
}

}  // namespace applist::daemon
