// SPDX-License-Identifier: MIT

// What looks like a bus and never says a word: a socket that listens.
//
// Threads: any. Lifetime: the socket goes with the object, unless somebody has put another one in
// its place.

#pragma once

#include <string>

#include "support/TestFd.h"

class SilentBus {
public:
    // Listens at `path`, in place of whatever listened there.
    explicit SilentBus(const std::string& path);

    // Whether a client has come and waits for an answer.
    bool HasVisitor() const;

private:
    TestFd m_listener;
};
