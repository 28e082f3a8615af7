// SPDX-License-Identifier: MIT

#include "support/ReaderAside.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "support/TestLoop.h"

namespace {

// Returns an end of a new pair; `socket` is the other one.
TestFd OtherEndOf(int socket) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error("no pair of sockets");
    }
    const TestFd end(ends[0]);
    TestFd other(ends[1]);
    if (dup3(end.Get(), socket, O_CLOEXEC) < 0) throw std::runtime_error("no such descriptor");
    return other;
}

}  // namespace

ReaderAside::ReaderAside(int socket)
    : m_source(fcntl(socket, F_DUPFD_CLOEXEC, 3)), m_output(OtherEndOf(socket)), m_thread([this] {
          const std::string all = ReadAll();
          shutdown(m_source.Get(), SHUT_RDWR);
          HandOn(all);
      }) {}

ReaderAside::~ReaderAside() {
    shutdown(m_source.Get(), SHUT_RDWR);
    shutdown(m_output.Get(), SHUT_RDWR);
    m_thread.join();
}

std::string ReaderAside::ReadAll() const {
    std::string all;
    char piece[4096];
    struct pollfd readable = {m_source.Get(), POLLIN, 0};
    const int most = static_cast<int>(std::chrono::milliseconds(kTestDeadline).count());
    while (poll(&readable, 1, most) == 1) {
        const ssize_t size = recv(m_source.Get(), piece, sizeof(piece), 0);
        if (size <= 0) break;
        all.append(piece, static_cast<std::size_t>(size));
    }
    return all;
}

void ReaderAside::HandOn(const std::string& all) const {
    std::size_t done = 0;
    while (done < all.size()) {
        const ssize_t size =
            send(m_output.Get(), all.data() + done, all.size() - done, MSG_NOSIGNAL);
        if (size <= 0) return;
        done += static_cast<std::size_t>(size);
    }
    shutdown(m_output.Get(), SHUT_WR);
}
