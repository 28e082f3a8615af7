// SPDX-License-Identifier: MIT

// Writes to a stream that somebody is to read: all of it, or the cause why not. Needs no memory,
// so that it can also say that there is none.

#pragma once

#include <string>
#include <string_view>

namespace applist {

// Writes `text` to the descriptor `fd`, and waits while it takes no more. Returns 0, or the errno
// of what failed. SIGPIPE ends the process or not, as with write().
int WriteText(int fd, std::string_view text);

// Returns what a person is told when WriteText has returned `cause`: `what` was not possible, why,
// and what to do.
std::string WhyNotWritten(const std::string& what, int cause);

}  // namespace applist
