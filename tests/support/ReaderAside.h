// SPDX-License-Identifier: MIT

// A thread that reads a socket to its end in place of its user, who is busy: with the other end,
// for instance, when both are in one thread. The user reads the same afterwards, from the same
// descriptor number. Descriptors that come in are lost.
//
// Threads: one, and its own. Lifetime: ends the thread, wherever that is.

#pragma once

#include <sys/types.h>

#include <string>
#include <thread>

#include "support/TestFd.h"

class ReaderAside {
public:
    // Reads what `socket` stands for now. From now on that stands for another one, in which all
    // that was read arrives once the end has come, and then its end.
    explicit ReaderAside(int socket);
    ~ReaderAside();
    ReaderAside(const ReaderAside&) = delete;
    ReaderAside& operator=(const ReaderAside&) = delete;

private:
    std::string ReadAll() const;
    void HandOn(const std::string& all) const;

    const TestFd m_source;
    const TestFd m_output;
    std::thread m_thread;
};
