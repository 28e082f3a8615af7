// SPDX-License-Identifier: MIT

#include "common/Guarded.h"

#include <exception>

#include "common/AppListLog.h"

namespace applist {

bool Guarded(const char* doing) noexcept {
    try {
        throw;
    } catch (const std::exception& error) {
        APPLIST_LOG(logging::kError, "Error while %s: %s", doing, error.what());
    } catch (...) {
        APPLIST_LOG(logging::kError, "Error while %s", doing);
    }
    return false;
}

}  // namespace applist
