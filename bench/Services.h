// SPDX-License-Identifier: MIT

// The services of the round trip. Each serves in the calling process until it is killed, and
// writes a byte to `readyFd` when it can be called. They throw when they cannot come up.
//
// Threads: the caller's default sd-event loop.

#pragma once

#include <cstddef>
#include <string>

#include "bus/OwnedFd.h"

namespace bench {

constexpr std::size_t kRoundTripItems = 10000;

// The endpoint name of the bare service, beside our own "Applist".
constexpr char kBareEndpoint[] = "Bare";

// LocalAppListModel around SampleItems(kRoundTripItems), on the open transport, with a log whose
// debug lines are filtered.
void RunApplistService(const std::string& address, int readyFd);

// The least that answers the same requests with the same bytes over sd-bus: one method of the same
// shape, no checks. The selection's line lies ready, so that 2001 is a bare echo of as many bytes;
// the text of 2002 is built by hand, from the same strings, for each call.
void RunBareService(const std::string& address, int readyFd);

// The same without a bus, over `socket`, whose other end is its only client's.
void RunBarePeer(applist::OwnedFd socket, int readyFd);

}  // namespace bench
