// SPDX-License-Identifier: MIT

// Guesses which word somebody meant.

#pragma once

#include <string>
#include <vector>

namespace applist::ctl {

// Returns the one of `known` that `word` most likely stands for: the first that begins with it, or
// else the one that is the fewest typing errors away. Empty when none is near. Case does not count.
std::string NearestOf(const std::vector<std::string>& known, const std::string& word);

}  // namespace applist::ctl
