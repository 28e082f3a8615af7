// SPDX-License-Identifier: MIT

// The fence around every callback that C code calls: no exception may pass through a C frame.

#pragma once

#include <exception>

#include "common/AppListLog.h"

namespace applist {

// Runs `work` and returns whether it finished. What it throws goes no further than the log, as an
// error while `doing`, which is a phrase such as "receiving a reply".
template <class Work>
bool Guarded(const char* doing, Work work) noexcept {
    try {
        work();
        return true;
    } catch (const std::exception& error) {
        APPLIST_LOG(logging::kError, "Error while %s: %s", doing, error.what());
    } catch (...) {
        APPLIST_LOG(logging::kError, "Error while %s", doing);
    }
    return false;
}

}  // namespace applist
