// SPDX-License-Identifier: MIT

// Standard streams that a program was started without.
//
// Threads: the main thread, before anything opens a descriptor.

#pragma once

namespace applist {

// Gives each of stdin, stdout and stderr that is closed a descriptor on which reading (stdin) or
// writing (the others) fails, as it would on the closed one.
void FillClosedStreams();

}  // namespace applist
