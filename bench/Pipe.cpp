// SPDX-License-Identifier: MIT

#include "Pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "NowNanoseconds.h"

namespace bench {

Pipe::Pipe() {
    if (pipe2(m_ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
}

Pipe::~Pipe() {
    close(m_ends[0]);
    if (m_ends[1] >= 0) close(m_ends[1]);
}

void Pipe::CloseWriteEnd() {
    close(std::exchange(m_ends[1], -1));
}

bool Pipe::Read(void* bytes, std::size_t size, std::int64_t deadline) const {
    const std::int64_t left = std::max(deadline - NowNanoseconds(), std::int64_t{0});
    const struct timespec time = {left / 1000000000, left % 1000000000};
    struct pollfd readable = {m_ends[0], POLLIN, 0};
    return ppoll(&readable, 1, &time, nullptr) == 1 &&
           read(m_ends[0], bytes, size) == static_cast<ssize_t>(size);
}

}  // namespace bench
