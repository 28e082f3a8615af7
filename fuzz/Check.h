// SPDX-License-Identifier: MIT

// How a fuzz target says that something is not as it must be.

#pragma once

#include <cstdio>
#include <cstdlib>

namespace applist::fuzz {

// True in the variety of a target that spoils what it looks at. The fuzzer has to find that within
// a minute: a target that finds nothing says nothing until it has been seen to find something.
constexpr bool kFaultIsPlanted = APPLIST_PLANT_FAULT != 0;

// Ends the process when `holds` is false; `claim` is what should have been true.
inline void Check(bool holds, const char* claim) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: not true: %s\n", claim);
    std::abort();
}

}  // namespace applist::fuzz
