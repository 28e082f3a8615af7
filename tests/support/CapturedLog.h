// SPDX-License-Identifier: MIT

// The bus tests' platform log: keeps the lines instead of writing them, so that a test can ask
// which were written, and how often.
//
// Threads: one. Lifetime: the lines are the process's; ForgetLog empties them.

#pragma once

#include <cstddef>
#include <string>

// How many error (info, debug) lines hold `part`.
std::size_t ErrorsLogged(const std::string& part);
std::size_t InfosLogged(const std::string& part);
std::size_t DebugsLogged(const std::string& part);

// All lines, for the text of a failure.
std::string WholeLog();

void ForgetLog();
