// SPDX-License-Identifier: MIT

// Descriptors on their way from one process to another: real ones, so that a leak shows.
//
// Lifetime: closes what nobody has taken.

#pragma once

#include <cstddef>
#include <vector>

namespace sim {

class FdList {
public:
    FdList() = default;
    ~FdList() { Clear(); }
    FdList(FdList&& other) noexcept { m_fds.swap(other.m_fds); }
    FdList& operator=(FdList&& other) noexcept;
    FdList(const FdList&) = delete;
    FdList& operator=(const FdList&) = delete;

    bool Empty() const { return m_fds.empty(); }
    std::size_t Count() const { return m_fds.size(); }
    const std::vector<int>& All() const { return m_fds; }

    void Own(int fd) { m_fds.push_back(fd); }
    void AddCopyOf(int fd);
    void AddCopiesOf(const FdList& others);

    // Moves the first `count` of them into another list. REQUIRES: there are as many.
    FdList TakeFirst(std::size_t count);
    void Append(FdList others);
    // Gives all of them away.
    std::vector<int> Release();
    void Clear();

private:
    std::vector<int> m_fds;
};

}  // namespace sim
