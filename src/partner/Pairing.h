// SPDX-License-Identifier: MIT

// Which texts of one list are in another one.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace applist {

// For each text of a list, the place of an equal one in an older list, or kNone.
using Places = std::vector<std::uint32_t>;
constexpr std::uint32_t kNone = UINT32_MAX;

// A list of texts, wherever they are: `at` returns the one at a place below `count`.
struct Texts {
    std::size_t count;
    std::function<std::string_view(std::size_t place)> at;
};

// For each text of `now`, the place in `before` of one that is equal. Each is found once, and of
// equal ones the first is the first one's. Whatever the texts are, n of them take no more than
// n log n time: who chooses them must not decide how long this is busy. Throws std::bad_alloc.
Places Pair(const Texts& before, const Texts& now);

}  // namespace applist
