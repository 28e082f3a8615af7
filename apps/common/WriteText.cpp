// SPDX-License-Identifier: MIT

// To the descriptor: a C++ stream may forget the cause, or even that there was one.

#include "apps/common/WriteText.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

namespace applist {

namespace {

// A stream that somebody else has made non-blocking, as a program at the other end of a terminal
// may, is waited for as if it were not.
bool AwaitRoom(int fd) {
    struct pollfd writable = {fd, POLLOUT, 0};
    return poll(&writable, 1, /* as long as write() would wait */ -1) >= 0 || errno == EINTR;
}

}  // namespace

int WriteText(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            if (!AwaitRoom(fd)) return errno;
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

std::string WhyNotWritten(const std::string& what, int cause) {
    const char* const next = cause == ENOSPC ? "free some space, or send the output elsewhere"
                                             : "send the output elsewhere";
    return what + ": " + std::generic_category().message(cause) + "; " + next;
}

}  // namespace applist
