// SPDX-License-Identifier: MIT

// How long the bus library waits for the answer to a call, cut short. Nothing else makes it give a
// call up while a test can wait.
//
// Threads: one. Lifetime: connections that are set up while the object lives keep its timeout.

#pragma once

#include <chrono>

class LibraryTimeout {
public:
    // From now on each connection is given `timeout` in place of the one that it asks for.
    explicit LibraryTimeout(std::chrono::microseconds timeout);
    ~LibraryTimeout();
    LibraryTimeout(const LibraryTimeout&) = delete;
    LibraryTimeout& operator=(const LibraryTimeout&) = delete;
};
