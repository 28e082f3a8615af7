// SPDX-License-Identifier: MIT

// One end of a direct channel: a connection over a socket whose other end is the other side's, with
// no bus between. Its messages have neither sender nor destination.
//
// Threads: the main loop's.

#pragma once

#include <cstddef>

#include "bus/OwnedFd.h"
#include "bus/SdBus.h"

namespace applist {

// Whether this process may have direct channels: yes, unless its environment says APPLIST_DIRECT=0.
bool MayUseChannels();

// Return a connection over `socket`, which has been started; its handshake goes on when it is
// dispatched. Throw TransportError.
UniqueBus OpenServiceEnd(OwnedFd socket);  // hears Connected, a signal of its own, when it is up
UniqueBus OpenPartnerEnd(OwnedFd socket);

// Returns how much of what was sent over `channel` the other end has not read yet: bytes of the
// kernel's memory, 0 when it has read everything, or when the connection has ended.
std::size_t UnreadOf(sd_bus* channel);

}  // namespace applist
