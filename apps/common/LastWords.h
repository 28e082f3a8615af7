// SPDX-License-Identifier: MIT

// What a program says when memory ends where nobody can catch that: in a function that promises not
// to throw, and is another library's.
//
// Threads: the main thread, before there are others.

#pragma once

namespace applist {

// From now on such an end is `text` on stderr, and `status`, instead of an abort. Anything else
// that nobody catches ends as before. `text` lives as long as the program.
void EndWithoutMemory(const char* text, int status);

}  // namespace applist
