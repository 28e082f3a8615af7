// SPDX-License-Identifier: MIT

// Which item takes the place of one that has left a list together with others.

#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

namespace applist::daemon {

// Returns the first item after `gone` in `before` that is also in `now`, or nothing. `now` is taken
// by value to be sorted: so this takes n log n comparisons, however many items left at once, where
// a search in `now` for each of them would take n times n.
template <class Item>
std::optional<Item> SuccessorOf(const Item& gone, const std::vector<Item>& before,
                                std::vector<Item> now) {
    std::sort(now.begin(), now.end(), std::less<Item>());
    const auto successor = std::find_if(
        std::find(before.begin(), before.end(), gone), before.end(), [&](const Item& item) {
            return std::binary_search(now.begin(), now.end(), item, std::less<Item>());
        });
    return successor == before.end() ? std::nullopt : std::make_optional(*successor);
}

}  // namespace applist::daemon
