// SPDX-License-Identifier: MIT

// Virtual time, in microseconds since a beginning that means nothing.

#pragma once

#include <cstdint>

namespace sim {

using Usec = std::uint64_t;

constexpr Usec kMillisecond = 1000;
constexpr Usec kSecond = 1000000;
constexpr Usec kNever = UINT64_MAX;

// Not zero, so that times before it can be computed.
constexpr Usec kBeginning = 1000 * kSecond;

}  // namespace sim
