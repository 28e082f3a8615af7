// Standard streams that a program was started without.
//
// Threads: the main thread, before anything opens a descriptor.

#pragma once

namespace applist {

// Gives each of stdin, stdout and stderr that came closed a descriptor that cannot be read or
// written, as the closed one could not.
void FillClosedStreams();

}  // namespace applist
