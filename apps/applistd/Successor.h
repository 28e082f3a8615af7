// Who takes the place of an item that has left a list together with others.

#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

namespace applist::daemon {

// Returns the first item behind `gone` in `before` that is also in `now`; nothing when there is
// none. Takes n log n comparisons, however many left at once.
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
