// SPDX-License-Identifier: MIT

// Processes that a benchmark starts and ends.
//
// Threads: one; a program forks before it starts any. Lifetime: a child ends with its owner, and
// with this program whatever happens to it.

#pragma once

#include <sys/types.h>

#include <functional>

namespace bench {

class ChildProcess {
public:
    // Runs `body` in a child and returns when it has written a byte to the descriptor that it is
    // given. What `body` throws is printed, and the child ends when `body` does. Throws
    // std::runtime_error when the child ends first or is not ready within half a minute.
    explicit ChildProcess(const std::function<void(int readyFd)>& body);
    ~ChildProcess();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Returns the CPU time that it has used so far, in microseconds.
    double UsedCpu() const;

private:
    pid_t m_pid;
};

}  // namespace bench
