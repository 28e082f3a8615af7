// SPDX-License-Identifier: MIT

// A service or a partner in a process of its own, that a test talks to line by line, stops and
// kills.
//
// Threads: one. Lifetime: the process ends with the object, or with the test.

#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

class SideProcess {
public:
    // Starts `which`, "service" or "partner", on the bus at `address`, and waits until it is ready.
    SideProcess(const std::string& which, const std::string& address)
        : SideProcess(which, address, std::nullopt) {}
    // The same as another user, which takes root.
    SideProcess(const std::string& which, const std::string& address, std::optional<uid_t> user);
    ~SideProcess() { Kill(); }
    SideProcess(const SideProcess&) = delete;
    SideProcess& operator=(const SideProcess&) = delete;

    // Sends a line; waits for one; both. Throws when there is none by the tests' deadline.
    void Tell(const std::string& line);
    std::string Hear();
    std::string Ask(const std::string& line);

    // SIGSTOP, SIGCONT; SIGKILL, and all of it is gone.
    void Stop() const;
    void Continue() const;
    void Kill();

    // Closes its stdin and returns its exit status, when it has ended by itself.
    int End();

private:
    void Start(const std::string& which, const std::string& address, std::optional<uid_t> user);
    void Close();

    pid_t m_pid = -1;
    int m_toIt = -1;
    int m_fromIt = -1;
    std::string m_heard;
};
