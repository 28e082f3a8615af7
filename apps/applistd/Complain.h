// SPDX-License-Identifier: MIT

// What is wrong, told to whoever started the daemon.

#pragma once

#include <string>

namespace applist::daemon {

// Writes one line, in which bytes that cannot be printed are shown as \xNN: to the journal, as an
// error, when that reads stderr, and to stderr otherwise. It is lost when nobody reads stderr: the
// daemon must not wait for that.
void Complain(const std::string& text);

}  // namespace applist::daemon
