// SPDX-License-Identifier: MIT

#include "support/SilentBus.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <stdexcept>

SilentBus::SilentBus(const std::string& path)
    : m_listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    unlink(path.c_str());
    if (bind(m_listener.Get(), reinterpret_cast<struct sockaddr*>(&address), sizeof(address)) !=
            0 ||
        listen(m_listener.Get(), 8) != 0) {
        throw std::runtime_error("cannot listen at " + path);
    }
}

bool SilentBus::HasVisitor() const {
    struct pollfd listener = {m_listener.Get(), POLLIN, 0};
    return poll(&listener, 1, 0) == 1;
}
