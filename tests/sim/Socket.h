// SPDX-License-Identifier: MIT

// A socket of a process, as the process sees it: what has come in is read as from the kernel's,
// faults included. Where the rest goes is its kind's business.
//
// Lifetime: shared by the descriptors that stand for it and by its other end.

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "sim/FdList.h"
#include "sim/Time.h"

namespace sim {

class World;

struct Chunk {
    Usec due = 0;
    std::string bytes;
    std::size_t at = 0;  // how much of it has been read
    FdList fds;
    bool isEnd = false;
};

class Socket {
public:
    Socket(World& world, int id) : m_world(world), m_id(id) {}
    virtual ~Socket() = default;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int Id() const { return m_id; }

    // A descriptor stands for it, or does so no more: the last one that goes closes it.
    void AddFd() { ++m_fds; }
    void RemoveFd() {
        if (--m_fds == 0) Close();
    }

    // Negative results are errnos.

    // Takes the beginning of `bytes`, as much as there is room for, and `fds` with it.
    ssize_t Write(const std::string& bytes, FdList fds);
    // Puts at most `room` bytes into `bytes`; none at the end. Sets `cut` when descriptors came and
    // the process had no place for them.
    ssize_t Read(std::size_t room, std::string& bytes, FdList& fds, bool& cut);
    // Returns which of `events`, of epoll, hold now; else lowers `next` to when to look again.
    std::uint32_t Ready(std::uint32_t events, Usec& next) const;

    // Nothing more is written; or nothing more comes in but what is there.
    virtual void ShutDownWriting() {}
    virtual void ShutDownReading() {}
    // How many bytes of what was written have not been read at the other end.
    virtual std::size_t Unread() const { return 0; }

protected:
    virtual bool IsOtherEndOpen() const = 0;
    // What waits at the other end, for which there is a bound.
    virtual std::size_t WaitingBytes() const = 0;
    virtual void Deliver(std::string bytes, FdList fds) = 0;
    virtual void Close() = 0;
    // Neither end is of any use from now on.
    virtual void Break() = 0;

    static void PutEnd(std::deque<Chunk>& queue, Usec due);

    World& m_world;
    std::deque<Chunk> m_incoming;

private:
    int FaultOfWrite();
    int FaultOfRead();
    std::size_t Shortened(std::size_t size, unsigned chance, const char* fault);
    void Transfer(std::size_t room, std::string& bytes, FdList& fds);

    const int m_id;
    int m_fds = 0;
};

}  // namespace sim
