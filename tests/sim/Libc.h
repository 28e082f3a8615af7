// SPDX-License-Identifier: MIT

// How the program takes the place of libc below the bus library: it defines the functions that the
// library calls, and the dynamic linker prefers a program's definitions to everybody else's. Each
// file Libc*.cpp defines some of them; outside of a simulated process they do what they always do.
//
// It needs a shared libsystemd, and nothing else: production code is the same, byte by byte.

#pragma once

#include <dlfcn.h>

#include <cerrno>
#include <cstdint>

#include "sim/FileTable.h"
#include "sim/Memory.h"
#include "sim/World.h"

namespace sim {

// What a simulated process is told of which boot this is.
constexpr char kBootId[] = "00112233-4455-6677-8899-aabbccddeeff";

// Returns libc's own function. Ends the program when there is none.
void* RealFunction(const char* name);

// Whether the caller runs in a simulated process.
inline bool IsInside() {
    return World::Current() != nullptr && World::Current()->Running() != nullptr;
}

inline int FailWith(int error) {
    errno = error;
    return -1;
}

// For results that are negative errnos.
inline ssize_t ErrnoOf(ssize_t result) {
    return result < 0 ? FailWith(static_cast<int>(-result)) : result;
}

}  // namespace sim

// libc's own `name`, whose declaration is in scope.
#define APPLIST_SIM_REAL(name)                                                                     \
    ([]() -> decltype(&::name) {                                                                   \
        static const auto found = reinterpret_cast<decltype(&::name)>(::sim::RealFunction(#name)); \
        return found;                                                                              \
    }())
