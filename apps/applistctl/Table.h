// SPDX-License-Identifier: MIT

// A list for a person's eyes.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// Returns a header and a line for each item, the one at `selected` marked with a star. Ids are
// never cut, because people type them: in `width` columns that are too few for both, names are
// shortened, and when there is no room for 8 columns of a name, each id stands on a line below its
// name. Below 10 columns nothing is cut, and the terminal breaks the lines. Control characters are
// made visible, so that no name can move a terminal's cursor. With `colours` the header and the
// selected item are bold.
std::string TableOf(const std::vector<Entry>& items, std::optional<std::size_t> selected,
                    std::size_t width, bool colours);

}  // namespace applist::ctl
