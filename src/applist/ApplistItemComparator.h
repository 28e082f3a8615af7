// SPDX-License-Identifier: MIT

// The predicate by which the service matches items: equal unique ids, byte for byte. Made for one
// search with std::find_if, whose first hit counts. The service finds the items that it made itself
// by the same rule, without asking them for copies.
//
// Lifetime: the reference item outlives every use of the comparator.

#pragma once

#include <string>

#include "AppList.h"

class ApplistItemComparator {
public:
    // Keeps `item`, not owned and never null, as the reference.
    explicit ApplistItemComparator(AppListItem* item) : m_item(item) {}

    // True exactly when the unique ids are equal. Visible names are not looked at.
    // Both ids are fetched anew each time, the reference item's first: an item may change its id
    // between two searches.
    bool operator()(AppListItem* item) const {
        // As the operands of == the two calls could be made in either order.
        const std::string wanted = m_item->GetUnigueId();
        return wanted == item->GetUnigueId();
    }

private:
    AppListItem* m_item;
};
