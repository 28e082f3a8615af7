// SPDX-License-Identifier: MIT

// Splits a command into words as a shell does.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace applist::daemon {

// Returns the words of `line`, which blanks and TABs part. Between single quotes every character
// stands for itself; between double quotes \ keeps its meaning before $, `, " and \, elsewhere
// before anything. A # at the beginning of a word makes the rest a comment. Nothing is expanded.
// Throws std::invalid_argument, which says what to do, for an open quote and for a \ at the end.
std::vector<std::string> ShellWords(std::string_view line);

}  // namespace applist::daemon
