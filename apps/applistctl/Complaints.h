// SPDX-License-Identifier: MIT

// What is wrong with a command line, in words that say how to mend it. Everything here throws
// Failure when there is something to complain of.

#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace applist::ctl {

[[noreturn]] void Complain(const std::string& what, const std::string& next);

// Both complain of what is left on the command line of `app` once the library has placed what it
// knows. `beforeMark` holds the words before a --: those after it are names and ids, even when they
// begin with a dash.
void CheckOptions(const CLI::App& app, const std::vector<std::string>& beforeMark);
void CheckCommand(const CLI::App& app);

// The library would take "--json=" for a plain --json.
void CheckJson(const std::vector<std::string>& beforeMark);

// Complains of what the library has found.
[[noreturn]] void ComplainOf(const CLI::ParseError& error, const CLI::App& app);

}  // namespace applist::ctl
