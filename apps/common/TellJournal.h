// SPDX-License-Identifier: MIT

// What ends a program, told to the journal, which would take a line on stderr for an ordinary one.

#pragma once

#include <string>

namespace applist {

// Writes `text` to the journal as an error of this program, if the journal reads our stderr.
// Returns whether it has it: otherwise stderr is the place to say it.
bool TellJournal(const std::string& text);

}  // namespace applist
