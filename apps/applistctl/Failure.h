// SPDX-License-Identifier: MIT

// How a command ends when it does not end well.

#pragma once

#include <stdexcept>
#include <string>

namespace applist::ctl {

// What scripts test. --help lists them, so they must never change.
enum ExitStatus : int {
    kDone = 0,
    kNotDone = 1,  // the service answered, but the id is not there, the edit was not carried out,
                   // or the result could not be written
    kWrongUsage = 2,
    kNoService = 3,      // or no bus, or no answer in time
    kRefused = 4,        // by the bus's policy
    kInterrupted = 130,  // by Ctrl-C, as shells report it: 128 + SIGINT
};

// The text is one line for a person: what was wrong, and what to do next.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& text)
        : std::runtime_error(text), m_status(status) {}

    ExitStatus Status() const { return m_status; }

private:
    ExitStatus m_status;
};

}  // namespace applist::ctl
