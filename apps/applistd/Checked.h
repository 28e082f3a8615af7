// SPDX-License-Identifier: MIT

// What sd-event and the kernel refuse, as an exception.

#pragma once

#include <string>
#include <system_error>

namespace applist::daemon {

// Throws std::system_error for a negative errno, and returns anything else.
inline int Checked(int result, const std::string& what) {
    if (result < 0) throw std::system_error(-result, std::generic_category(), what);
    return result;
}

}  // namespace applist::daemon
