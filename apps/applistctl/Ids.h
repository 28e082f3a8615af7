// SPDX-License-Identifier: MIT

// Ids that people type, and names that they type in their place.

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// Makes the words of a command line that somebody meant from the id that they meant.
using CommandOf = std::function<std::string(const std::string& id)>;

// Throws Failure when no item has the id `id`. When it is the name of items, the text says their
// ids, and the commands with them. Without the program and its options: a line to paste that named
// no bus would go to another list than the one that was meant.
void RequireId(const ListState& list, const std::string& id, const CommandOf& commandOf);

// Returns `command` with these words behind it as a shell takes them, and -- before them when one
// looks like an option.
std::string CommandLine(const std::string& command, const std::vector<std::string>& words);

}  // namespace applist::ctl
