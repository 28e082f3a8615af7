// SPDX-License-Identifier: MIT

// A descriptor, closed with its owner; or, in place of one, the negative errno that says why there
// is none.

#pragma once

#include <utility>

namespace applist {

class OwnedFd {
public:
    explicit OwnedFd(int fd) : m_fd(fd) {}
    ~OwnedFd();
    OwnedFd(OwnedFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    OwnedFd(const OwnedFd&) = delete;
    OwnedFd& operator=(const OwnedFd&) = delete;

    int Get() const { return m_fd; }

    // Returns the descriptor, which is the caller's from now on.
    int Release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

}  // namespace applist
