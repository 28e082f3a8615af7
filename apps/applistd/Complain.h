// What is wrong, told to whoever started the daemon.

#pragma once

#include <string>

namespace applist::daemon {

// Writes one line to stderr, in which bytes that cannot be printed are shown as \xNN. It is lost
// when nobody reads stderr: the daemon must not wait for that.
void Complain(const std::string& text);

}  // namespace applist::daemon
