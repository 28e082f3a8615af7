// SPDX-License-Identifier: MIT

// Writing to a stream that this process shares with others, such as stderr, whose reader may have
// stopped reading.

#pragma once

#include <sys/types.h>

#include <string_view>

namespace applist {

// Writes as much of `text` as `fd` takes now, and returns how much that was, or the negative errno:
// -EAGAIN when it takes nothing. Does not wait for a reader, and does not make `fd` non-blocking
// either: that would hold for the shell that gave it to us as well. SIGPIPE ends the process or
// not, as with write().
ssize_t WriteWithoutWaiting(int fd, std::string_view text);

}  // namespace applist
