// SPDX-License-Identifier: MIT

// What every bare sd-bus client and service of the benchmarks begins with.
//
// Threads: one, whose default sd-event loop serves. Lifetime: see each function.

#pragma once

#include <string>

#include "bus/SdBus.h"

namespace bench {

// Returns `result`, or throws std::runtime_error when it is a negative errno: sd-bus and sd-event
// report every failure so.
int Check(int result);

// Returns a new connection to the bus at `address`. Throws std::runtime_error.
applist::UniqueBus OpenBus(const std::string& address);

// Writes the byte to `readyFd` that a ChildProcess waits for. Throws std::runtime_error.
void SayReady(int readyFd);

// Says ready and serves what is attached to the thread's default loop until the process is killed.
void ServeUntilKilled(int readyFd);

}  // namespace bench
