// SPDX-License-Identifier: MIT

// Which items of a list are in an older one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "common/ItemText.h"

namespace applist {

// Places in a list, or kNone.
using Places = std::vector<std::uint32_t>;
constexpr std::uint32_t kNone = UINT32_MAX;

// Items, wherever they are: `at` returns the one at a place below `count`.
struct ItemRange {
    std::size_t count;
    std::function<const ItemText&(std::size_t place)> at;
};

// For each item of `now`, the place of the same one in `before`, or kNone. Each is found once, and
// of equal ones the first is the first one's. Whatever the items are, n of them take no more than
// n log n time: who chooses them must not decide how long this is busy. Throws std::bad_alloc.
Places PairEqual(const ItemRange& before, const ItemRange& now);

struct PairedById {
    Places was;                   // of `now`: the place in `before`, or kNone
    std::vector<bool> isRenamed;  // of `now`
    std::vector<bool> isKept;     // of `before`
};

// The same, but that an item of which no equal one is left may also be one of the same id.
PairedById PairById(const ItemRange& before, const ItemRange& now);

}  // namespace applist
