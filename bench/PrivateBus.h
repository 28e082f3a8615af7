// SPDX-License-Identifier: MIT

// A dbus-daemon of the benchmark's own, with the session bus's configuration.
//
// Threads: one. Lifetime: the daemon, its socket and the folder around it go with the object.

#pragma once

#include <string>

#include "ChildProcess.h"

namespace bench {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

class PrivateBus {
public:
    // Throws std::runtime_error when the daemon does not come up.
    PrivateBus();

    // Where it listens, in D-Bus's notation.
    const std::string& Address() const { return m_address; }

    // As in ChildProcess.h: what the daemon has to do with a call.
    double UsedCpu() const { return m_daemon.UsedCpu(); }

private:
    TemporaryFolder m_folder;
    std::string m_address;
    ChildProcess m_daemon;
};

}  // namespace bench
