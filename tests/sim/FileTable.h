// The descriptors of simulated processes. Each is a real one that is only a place holder: fstat,
// fcntl, dup and /proc work as ever, and I/O on its number is the simulator's.

#pragma once

#include <sys/epoll.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "sim/Stream.h"
#include "sim/Time.h"

namespace sim {

struct Watch {
    int fd;
    std::uint32_t events;
    epoll_data_t data;
};

struct File {
    enum class Kind { Socket, Epoll, Timer };

    Kind kind;
    std::shared_ptr<Stream> stream;  // of a socket that is connected
    std::vector<Watch> watches;      // of an epoll
    Usec armed = kNever;             // of a timer: when it strikes
};

// Returns null for a descriptor that is not simulated.
File* FileOf(int fd);
File& Install(int fd, File::Kind kind);
void Uninstall(int fd);

// Returns which of `events`, of epoll, hold now; else lowers `next` to when to look again.
std::uint32_t ReadyOf(const File& file, std::uint32_t events, Usec& next);

}  // namespace sim
