// SPDX-License-Identifier: MIT

#include "platform/WithoutWaiting.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "common/Joined.h"

namespace applist {

namespace {

ssize_t ErrnoOr(ssize_t result) {
    return result < 0 ? -errno : result;
}

// A pipe that is ready takes PIPE_BUF bytes without waiting, unless another process fills it first;
// a terminal whose output is stopped is not ready.
ssize_t WriteWhileReady(int fd, std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        struct pollfd ready = {fd, POLLOUT, 0};
        if (poll(&ready, 1, 0) <= 0) break;
        const std::size_t piece = std::min<std::size_t>(text.size() - written, PIPE_BUF);
        const ssize_t result = ErrnoOr(write(fd, text.data() + written, piece));
        if (result < 0 && written == 0) return result;
        if (result <= 0) break;
        written += static_cast<std::size_t>(result);
    }
    return written == 0 && !text.empty() ? -EAGAIN : static_cast<ssize_t>(written);
}

// Opening a pipe or a terminal again gives a descriptor with flags of its own. That may not be
// allowed, as after a change of user, when the pipe still belongs to the old one.
ssize_t WriteThroughOwnDescription(int fd, std::string_view text) {
    const std::string path = Joined({"/proc/self/fd/", Decimal(static_cast<unsigned>(fd))});
    const int own = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (own < 0) return WriteWhileReady(fd, text);
    const ssize_t result = ErrnoOr(write(own, text.data(), text.size()));
    close(own);
    return result;
}

}  // namespace

ssize_t WriteWithoutWaiting(int fd, std::string_view text) {
    struct stat status;
    if (fstat(fd, &status) != 0) return -errno;
    if (S_ISSOCK(status.st_mode)) {
        return ErrnoOr(send(fd, text.data(), text.size(), MSG_DONTWAIT));
    }
    if (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)) {
        return WriteThroughOwnDescription(fd, text);
    }
    return ErrnoOr(write(fd, text.data(), text.size()));
}

}  // namespace applist
