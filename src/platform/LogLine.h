// SPDX-License-Identifier: MIT

// A line of the log, with what the journal keeps beside its text.

#pragma once

#include <string>

namespace applist {

struct LogLine {
    int priority = 0;
    std::string tag;
    std::string text;
    // Where it comes from. Part of a line's fields, but two lines of one text are alike without it.
    std::string file;
    std::string function;
    int number = 0;
};

}  // namespace applist
