// SPDX-License-Identifier: MIT

// What a view does when it is told which rows have changed.

#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "partner/RowChange.h"

// Applies `change` to `rows`. Looks names of rows up in `now`, the list after all changes.
template <class Row>
void ApplyRowChange(const applist::RowChange& change, const std::vector<Row>& now,
                    std::vector<Row>& rows) {
    using Kind = applist::RowChange::Kind;
    const auto in = [](auto& list, std::size_t row) {
        return list.begin() + static_cast<std::ptrdiff_t>(row);
    };
    const std::size_t end = change.row + change.count;
    switch (change.kind) {
        case Kind::Removed: rows.erase(in(rows, change.row), in(rows, end)); return;
        case Kind::Inserted:
            rows.insert(in(rows, change.row), in(now, change.row), in(now, end));
            return;
        case Kind::Moved: {
            const std::vector<Row> moved(in(rows, change.row), in(rows, end));
            rows.erase(in(rows, change.row), in(rows, end));
            rows.insert(in(rows, change.to), moved.begin(), moved.end());
            return;
        }
        case Kind::Renamed:
            std::copy(in(now, change.row), in(now, end), in(rows, change.row));
            return;
    }
}
