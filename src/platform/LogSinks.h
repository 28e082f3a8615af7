// SPDX-License-Identifier: MIT

// Where the lines of the log go: to the journal when it reads our stderr, or else to stderr.
//
// Nothing waits for a reader. The journal knows a line by the name of the program that wrote it.

#pragma once

#include <string>

#include "platform/LogLine.h"

namespace applist {

// "debug", "info" or "error".
const char* LogPriorityName(int priority);

// Whether the journal reads our stderr. Found out once.
bool LogGoesToTheJournal();

// Writes `text`, which is printable, with everything else that belongs to `line`. Returns a length,
// or a negative errno when nothing of it was written.
int WriteLogLine(const LogLine& line, const std::string& text);

}  // namespace applist
