// The fence around every callback that C code calls: no exception passes through a C frame.
// Any thread: the work's own.

#pragma once

#include <exception>

#include "common/AppListLog.h"

namespace applist {

// Runs `work` and returns whether it came to its end. What it throws is logged as having happened
// while `doing`.
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
