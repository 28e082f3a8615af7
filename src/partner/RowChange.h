// SPDX-License-Identifier: MIT

// One step of what turns a list that is shown into the list as it is now, for views that show rows.
//
// A plain value.

#pragma once

#include <cstddef>

namespace applist {

// Some rows next to each other have been removed, inserted, moved or renamed. Rows are counted from
// 0, in the list as the steps before this one have left it. Steps come in an order in which the
// rows of those inserted and renamed are the new list's, too; those removed and moved are in a copy
// of the old one, which each step is applied to.
struct RowChange {
    enum class Kind {
        Removed,   // rows `row` to `row + count - 1` are no longer there
        Inserted,  // rows `row` to `row + count - 1` are new
        Moved,     // rows `row` to `row + count - 1` are taken out, and put in again so that the
                   // first of them is row `to`
        Renamed,   // rows `row` to `row + count - 1` have other names, and the same ids
    };

    Kind kind;
    std::size_t row;
    std::size_t count;
    std::size_t to = 0;  // 0 unless they have moved

    friend bool operator==(const RowChange& left, const RowChange& right) {
        return left.kind == right.kind && left.row == right.row && left.count == right.count &&
               left.to == right.to;
    }
};

}  // namespace applist
