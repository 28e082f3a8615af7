// SPDX-License-Identifier: MIT

// The fewest moves that bring rows into another order.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "partner/RowChange.h"

namespace applist {

// Appends to `changes` what brings rows into the order `rows`: the row that is to be at `at` is at
// rows[at] now. Rows that are next to each other before and afterwards move together. `first` is
// the number of rows before the first of them. n rows take no more than n log n time. Throws
// std::bad_alloc.
// REQUIRES: each number below rows.size() is in `rows` once.
void AppendMoves(const std::vector<std::uint32_t>& rows, std::size_t first,
                 std::vector<RowChange>& changes);

}  // namespace applist
