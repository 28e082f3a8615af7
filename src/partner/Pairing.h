// SPDX-License-Identifier: MIT

// Which items of a list are in an older one.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "common/ItemText.h"

namespace applist {

// Places in a list, or kNone.
using Places = std::vector<std::uint32_t>;
constexpr std::uint32_t kNone = UINT32_MAX;
// One for each place. Not bits: those take more text to get at, and more time.
using Flags = std::vector<char>;

// Items, wherever they are: `at` returns the one at a place below `count`.
struct ItemRange {
    std::size_t count = 0;
    std::function<const ItemText&(std::size_t place)> at;
};

// What is left of two lists without the items with which both begin and those with which both end:
// usually little, so that few have to be looked up. The lists outlive it.
struct Middle {
    std::size_t begin = 0;  // how many both begin with
    ItemRange before;
    ItemRange now;

    std::size_t BeforeEnd() const { return begin + before.count; }
    std::size_t NowEnd() const { return begin + now.count; }
};

// `before` and `now` return the item at a place of each list.
template <class Before, class Now>
Middle MiddleOf(std::size_t beforeCount, Before before, std::size_t nowCount, Now now) {
    const std::size_t shorter = std::min(beforeCount, nowCount);
    std::size_t begin = 0;
    while (begin < shorter && before(begin) == now(begin)) ++begin;
    std::size_t end = 0;
    while (begin + end < shorter && before(beforeCount - 1 - end) == now(nowCount - 1 - end)) ++end;
    return {begin,
            {beforeCount - begin - end,
             [=](std::size_t at) -> const ItemText& { return before(begin + at); }},
            {nowCount - begin - end,
             [=](std::size_t at) -> const ItemText& { return now(begin + at); }}};
}

// For each item of `now`, the place of the same one in `before`, or kNone. Each is found once, and
// of equal ones the first is the first one's. Whatever the items are, n of them take no more than
// n log n time: who chooses them must not decide how long this is busy. Throws std::bad_alloc.
Places PairEqual(const ItemRange& before, const ItemRange& now);

struct PairedById {
    Places was;       // of `now`: the place in `before`, or kNone
    Flags isRenamed;  // of `now`
    Flags isKept;     // of `before`
};

// The same, but that an item of which no equal one is left may also be one of the same id.
PairedById PairById(const ItemRange& before, const ItemRange& now);

}  // namespace applist
