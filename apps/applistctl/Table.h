// A list for a person's eyes.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// Returns a header and one line an item, `selected` marked. Nothing in it can move a terminal's
// cursor or is wider than `width`: names give way before ids, which people type. `colours` adds
// ANSI's bold.
std::string TableOf(const std::vector<Entry>& items, std::optional<std::size_t> selected,
                    std::size_t width, bool colours);

}  // namespace applist::ctl
