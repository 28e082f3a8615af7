// The word that somebody meant.

#pragma once

#include <string>
#include <vector>

namespace applist::ctl {

// Returns the one of `known` that `word` most likely stands for: it begins with it, or is a few
// typing errors away. Empty when none is near.
std::string NearestOf(const std::vector<std::string>& known, const std::string& word);

}  // namespace applist::ctl
