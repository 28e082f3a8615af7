// SPDX-License-Identifier: MIT

#include "sim/Socket.h"

#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "sim/World.h"

namespace sim {

int Socket::FaultOfWrite() {
    if (!IsOtherEndOpen()) return EPIPE;
    if (WaitingBytes() >= m_world.m_faults.socketRoom) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.writeAgain, "EAGAIN of write")) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.interrupted, "EINTR of write")) return EINTR;
    if (!m_world.Strikes(m_world.m_faults.writeError, "EPIPE")) return 0;
    Break();
    return EPIPE;
}

std::size_t Socket::Shortened(std::size_t size, unsigned chance, const char* fault) {
    if (size <= 1 || !m_world.Strikes(chance, fault)) return size;
    return 1 + m_world.m_random.Below(size - 1);
}

ssize_t Socket::Write(const std::string& bytes, FdList fds) {
    const int fault = FaultOfWrite();
    if (fault != 0) return -fault;
    const Faults& faults = m_world.m_faults;
    const bool breaks = m_world.Strikes(faults.breakInMessage, "break in a message");
    std::size_t size = std::min(bytes.size(), faults.socketRoom - WaitingBytes());
    size = Shortened(size, breaks ? 1000 : faults.shortWrite, "short write");
    m_world.Log("socket %d writes %zu of %zu", m_id, size, bytes.size());
    Deliver(bytes.substr(0, size), std::move(fds));
    if (breaks) Break();
    return static_cast<ssize_t>(size);
}

int Socket::FaultOfRead() {
    if (m_incoming.empty() || m_incoming.front().due > m_world.Now()) return EAGAIN;
    if (m_incoming.front().isEnd) return 0;
    if (m_world.Strikes(m_world.m_faults.readAgain, "EAGAIN of read")) return EAGAIN;
    if (m_world.Strikes(m_world.m_faults.interrupted, "EINTR of read")) return EINTR;
    if (m_world.Strikes(m_world.m_faults.readEnd, "end of file")) Break();
    return 0;
}

ssize_t Socket::Read(std::size_t room, std::string& bytes, FdList& fds, bool& cut) {
    const int fault = FaultOfRead();
    if (fault != 0) return -fault;
    if (m_incoming.front().isEnd) return 0;
    Transfer(Shortened(room, m_world.m_faults.partialRead, "partial read"), bytes, fds);
    if (!fds.Empty() && m_world.Strikes(m_world.m_faults.loseFds, "lost descriptor")) {
        fds.Clear();
        cut = true;
    }
    m_world.Log("socket %d reads %zu", m_id, bytes.size());
    return static_cast<ssize_t>(bytes.size());
}

// Like the kernel, never reads past bytes that came with descriptors.
void Socket::Transfer(std::size_t room, std::string& bytes, FdList& fds) {
    while (bytes.size() < room && !m_incoming.empty() && fds.Empty()) {
        Chunk& chunk = m_incoming.front();
        if (chunk.due > m_world.Now() || chunk.isEnd) return;
        if (!chunk.fds.Empty()) {
            if (!bytes.empty()) return;
            fds = std::move(chunk.fds);
        }
        const std::size_t part = std::min(room - bytes.size(), chunk.bytes.size() - chunk.at);
        bytes.append(chunk.bytes, chunk.at, part);
        chunk.at += part;
        if (chunk.at == chunk.bytes.size()) m_incoming.pop_front();
    }
}

std::uint32_t Socket::Ready(std::uint32_t events, Usec& next) const {
    std::uint32_t ready = 0;
    if (!m_incoming.empty()) {
        const Chunk& front = m_incoming.front();
        if (front.due > m_world.Now()) {
            if ((events & EPOLLIN) != 0) next = std::min(next, front.due);
        } else {
            ready |= EPOLLIN;
            if (front.isEnd) ready |= EPOLLHUP | EPOLLRDHUP | EPOLLOUT;
        }
    }
    if (WaitingBytes() < m_world.m_faults.socketRoom || !IsOtherEndOpen()) ready |= EPOLLOUT;
    return ready & (events | EPOLLHUP | EPOLLERR);
}

void Socket::PutEnd(std::deque<Chunk>& queue, Usec due) {
    Chunk end;
    end.due = due;
    end.isEnd = true;
    queue.push_back(std::move(end));
}

}  // namespace sim
