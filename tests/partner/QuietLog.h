// SPDX-License-Identifier: MIT

// The partner tests' platform log: keeps what is of interest to an operator, and lets the traces
// go, which would be millions of lines.
//
// Threads: one. Lifetime: the lines are the process's; ForgetLog empties them.

#pragma once

#include <cstddef>
#include <string>

// How many error lines hold `part`.
std::size_t ErrorsLogged(const std::string& part);

// How many lines that tell the operator what happens, and are no errors, hold `part`.
std::size_t NewsLogged(const std::string& part);

// The error lines, for the text of a failure.
std::string WholeLog();

void ForgetLog();
