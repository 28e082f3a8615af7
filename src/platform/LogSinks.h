// Where the lines of the log go: to the journal when it reads our stderr, or else to stderr.
//
// Nothing waits for a reader.

#pragma once

#include <string>

#include "platform/LogLine.h"

namespace applist {

// Writes `text`, which is printable, with everything else that belongs to `line`. Returns a length,
// or a negative errno when nothing of it was written.
int WriteLogLine(const LogLine& line, const std::string& text);

}  // namespace applist
