// SPDX-License-Identifier: MIT

// The clock that a benchmark's processes tell each other times of: std::chrono::steady_clock, which
// is the same in all of them. Threads: any.

#pragma once

#include <chrono>
#include <cstdint>

namespace bench {

inline std::int64_t NowNanoseconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::nanoseconds(now).count();
}

}  // namespace bench
