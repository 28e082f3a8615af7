// SPDX-License-Identifier: MIT

// The most that partners can make the service keep.
//
// An addition past one of them does nothing, like any call that cannot be carried out: it is logged
// and answered as ever, and nothing is thrown. A batch is added wholly or not at all. A removal, or
// a replacement by something shorter, makes room again.
//
// Threads: the service's. Lifetime: plain values.

#pragma once

#include <cstddef>
#include <cstdint>

#include "common/Export.h"

namespace applist {

namespace service_limits {

// Far more than a screen shows or a person scrolls through. Each takes about 100 bytes besides its
// strings, and some more in the application's list.
constexpr std::size_t kMaxItems = 1000000;

// Names and ids of those items: five times what a million of usual length need.
constexpr std::size_t kMaxBytes = std::size_t{256} << 20;

}  // namespace service_limits

struct ServiceLimits {
    std::size_t items = service_limits::kMaxItems;  // of partners; 0: they add nothing
    std::size_t bytes = service_limits::kMaxBytes;  // of these items' names and ids together

    // For a device on which every partner is trusted.
    static constexpr ServiceLimits None() { return {SIZE_MAX, SIZE_MAX}; }
};

// Every LocalAppListModel that is built from now on keeps to `limits`.
APPLIST_EXPORT void SetServiceLimits(const ServiceLimits& limits);

// Returns what was set last.
APPLIST_EXPORT ServiceLimits CurrentServiceLimits();

}  // namespace applist
