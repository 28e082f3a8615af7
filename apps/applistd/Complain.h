// What is wrong, told to whoever started the daemon.
//
// Threads: the main thread.

#pragma once

#include <string>

namespace applist::daemon {

// One line on stderr, in which what cannot be printed is shown as \xNN. It is lost when nobody
// reads stderr any more.
void Complain(const std::string& text);

}  // namespace applist::daemon
