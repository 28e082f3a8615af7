// SPDX-License-Identifier: MIT

// What turns one list into another, row by row, for views that show it.

#pragma once

#include <cstddef>
#include <vector>

#include "common/ItemText.h"
#include "partner/RowChange.h"

namespace applist {

// Returns the changes, in the order that RowListener (partner/RemoteAppListModel.h) promises, that
// turn the rows `before` into the rows `now`; nothing when they are equal. `first` is the number of
// rows that come before both. n rows take no more than n log n time. Throws std::bad_alloc.
std::vector<RowChange> RowChangesBetween(const std::vector<ItemText>& before,
                                         const std::vector<ItemText>& now, std::size_t first = 0);

}  // namespace applist
