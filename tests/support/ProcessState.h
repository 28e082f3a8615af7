// SPDX-License-Identifier: MIT

// What this process holds that could leak, as the kernel tells: descriptors, and what its loop
// watches.
//
// Threads: one. Plain values.

#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

struct ProcessState {
    // What each open descriptor is: "socket", "/dev/null", "anon_inode:[eventpoll]", …
    std::vector<std::string> descriptors;
    // How many descriptors the loop watches.
    std::size_t watched;

    static ProcessState Now();
    bool operator==(const ProcessState& other) const;
};

std::ostream& operator<<(std::ostream& out, const ProcessState& state);

// How many timers of this process, the loop's own included, will go off some time.
std::size_t ArmedTimers();

// Runs the loop until none will. Returns false when there still was one by the deadline.
bool RunUntilNoTimerIsSet();
