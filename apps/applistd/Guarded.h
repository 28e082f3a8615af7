// The fence around every callback that C code calls: no exception passes through a C frame.

#pragma once

#include <exception>

#include "common/AppListLog.h"

// Runs `work`. What it throws is logged as having happened while `doing`, and the caller goes on.
template <class Work>
void Guarded(const char* doing, Work work) noexcept {
    try {
        work();
    } catch (const std::exception& error) {
        APPLIST_LOG(applist_log::kError, "Failed %s: %s", doing, error.what());
    } catch (...) {
        APPLIST_LOG(applist_log::kError, "Failed %s", doing);
    }
}
