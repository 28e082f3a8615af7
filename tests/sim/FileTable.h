// SPDX-License-Identifier: MIT

// The descriptors of simulated processes. Each is a real one that is only a place holder: fstat,
// fcntl, dup and /proc work as ever, and I/O on its number is the simulator's.

#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "sim/Socket.h"
#include "sim/Time.h"

namespace sim {

struct Watch {
    int fd;
    std::uint32_t events;
    epoll_data_t data;
    // Of one for edges: how much was unread when the last was told. When that changes, it is one.
    mutable std::optional<std::size_t> told = std::nullopt;
};

struct File {
    enum class Kind { Socket, Epoll, Timer };

    Kind kind;
    std::shared_ptr<Socket> socket = nullptr;  // one that is connected
    std::vector<Watch> watches = {};           // of an epoll
    Usec armed = kNever;                       // of a timer: when it strikes
};

// Returns null for a descriptor that is not simulated.
File* FileOf(int fd);
File& Install(int fd, File::Kind kind);
// From now on the descriptor `fd` stands for `socket`.
void InstallSocket(int fd, std::shared_ptr<Socket> socket);
// `copy`, unless negative, was made of `fd`: if that stands for a socket, so does this.
void InstallCopy(int fd, int copy);
void Uninstall(int fd);

// Returns which of `events`, of epoll, hold now; else lowers `next` to when to look again.
std::uint32_t ReadyOf(const File& file, std::uint32_t events, Usec& next);

}  // namespace sim
