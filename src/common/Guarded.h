// SPDX-License-Identifier: MIT

// The fence around every callback that C code calls: no exception may pass through a C frame.

#pragma once

namespace applist {

// Logs the exception that is being handled, as an error while `doing`. Returns false. For the
// Guarded below: apart from it, and under its name in the log, so that the many places which use it
// share this code.
// REQUIRES: called from a handler.
bool Guarded(const char* doing) noexcept;

// Runs `work` and returns whether it finished. What it throws goes no further than the log, as an
// error while `doing`, which is a phrase such as "receiving a reply".
template <class Work>
bool Guarded(const char* doing, Work work) noexcept {
    try {
        work();
        return true;
    } catch (...) {
        return Guarded(doing);
    }
}

}  // namespace applist
