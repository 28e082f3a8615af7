// SPDX-License-Identifier: MIT

// What may go wrong below a process, as chances in a thousand. All zero: a good day.

#pragma once

#include <cstddef>

#include "sim/Time.h"

namespace sim {

constexpr std::size_t kRoomySocket = 200000;

struct Faults {
    // System calls that do less than they were asked, as they may at any time.
    unsigned shortWrite = 0;
    unsigned partialRead = 0;
    unsigned writeAgain = 0;                // EAGAIN
    unsigned readAgain = 0;                 // EAGAIN
    unsigned interrupted = 0;               // EINTR
    std::size_t socketRoom = kRoomySocket;  // towards the bus, in bytes

    // Connections that break.
    unsigned writeError = 0;      // EPIPE
    unsigned readEnd = 0;         // end of file
    unsigned breakInMessage = 0;  // after part of what is written has gone out
    unsigned garbage = 0;         // bytes that are no message

    // What arrives late, or never.
    unsigned delay = 0;
    Usec longestDelay = 0;
    unsigned loseSignal = 0;  // a broadcast, towards one listener
    unsigned loseReply = 0;   // as a bus over its quota does
    unsigned loseFds = 0;     // MSG_CTRUNC: the reader has no descriptor left

    // What is refused.
    unsigned refuseConnect = 0;  // ECONNREFUSED
    unsigned refuseSocket = 0;   // EMFILE
    unsigned refuseMemfd = 0;    // EMFILE
    unsigned silentAccept = 0;   // the bus lets a client in and never answers it

    // Memory of one process ends: this is the chance of each allocation of ours.
    unsigned refuseMemory = 0;
};

}  // namespace sim
