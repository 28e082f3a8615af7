// SPDX-License-Identifier: MIT

#include "sim/FdList.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

#include "sim/FileTable.h"

namespace sim {

FdList& FdList::operator=(FdList&& other) noexcept {
    Clear();
    m_fds.swap(other.m_fds);
    return *this;
}

void FdList::AddCopyOf(int fd) {
    m_fds.push_back(fcntl(fd, F_DUPFD_CLOEXEC, 3));
    InstallCopy(fd, m_fds.back());
}

void FdList::AddCopiesOf(const FdList& others) {
    for (const int fd : others.m_fds) AddCopyOf(fd);
}

FdList FdList::TakeFirst(std::size_t count) {
    FdList taken;
    const auto end = m_fds.begin() + static_cast<std::ptrdiff_t>(count);
    taken.m_fds.assign(m_fds.begin(), end);
    m_fds.erase(m_fds.begin(), end);
    return taken;
}

void FdList::Append(FdList others) {
    for (const int fd : others.Release()) m_fds.push_back(fd);
}

std::vector<int> FdList::Release() {
    return std::exchange(m_fds, {});
}

void FdList::Clear() {
    for (const int fd : Release()) close(fd);
}

}  // namespace sim
