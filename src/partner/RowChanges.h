// SPDX-License-Identifier: MIT

// What turns one list into another, row by row, for views that show it.

#pragma once

#include <cstddef>
#include <vector>

#include "common/ItemText.h"
#include "partner/Pairing.h"
#include "partner/RowChange.h"

namespace applist {

// Which row each row of a list was in an older one. Of items with equal ids those with equal names
// are taken to be the same, in their order, and then the others; but where one row has moved and
// nothing else has changed, it is just that. The rows before `begin`, and those behind the rows
// told here, are in both lists; `begin` is where counting starts.
struct RowOrigins : PairedById {
    std::size_t begin = 0;
    bool isOneMove = false;  // from the first place told here to the last, or back
};

// n rows take no more than n log n time. These throw std::bad_alloc.
RowOrigins RowOriginsIn(const Middle& middle);
RowOrigins RowOriginsBetween(const std::vector<ItemText>& before, const std::vector<ItemText>& now);

// Returns the changes, in the order that RowListener (partner/RemoteAppListModel.h) promises, that
// make rows of these origins of the older ones; nothing when they are equal. n rows take no more
// than n log n time. Throws std::bad_alloc.
std::vector<RowChange> RowChangesOf(const RowOrigins& origins);

}  // namespace applist
