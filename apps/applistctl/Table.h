// SPDX-License-Identifier: MIT

// A list for a person's eyes.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// Returns a header and one line for each item, the one at `selected` marked with a star. No line is
// wider than `width` columns: names are shortened before ids, because people type ids. Control
// characters are made visible, so that no name can move a terminal's cursor. With `colours` the
// header and the selected item are bold.
std::string TableOf(const std::vector<Entry>& items, std::optional<std::size_t> selected,
                    std::size_t width, bool colours);

}  // namespace applist::ctl
