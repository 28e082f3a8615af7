// SPDX-License-Identifier: MIT

// The items of a request, read in place, just as the extraction operator reads them from a stream:
// after a line that is not an item, or at the end of the data, there are no more.
//
// Threads: any. Lifetime: the bytes of the request must outlive it.

#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "common/ItemText.h"

namespace applist {

// Returns the item in `text`; an empty one when there is none.
inline RemoteAppListItem ItemOf(const std::optional<ItemText>& text) {
    if (!text) return RemoteAppListItem();
    return RemoteAppListItem(text->VisibleName(), text->UniqueId());
}

class Request {
public:
    struct Amount {
        std::size_t items = 0;
        std::size_t bytes = 0;  // of their strings
    };

    explicit Request(const std::vector<char>& data) : m_left(data.data(), data.size()) {}

    std::optional<ItemText> Next() {
        const std::optional<ItemText> text = ItemText::Take(m_left);
        if (!text) m_left = std::string_view();
        return text;
    }

    // Measures all the items that are left, without making or taking any.
    Amount Measure() const {
        Amount amount;
        Request left(*this);
        while (const std::optional<ItemText> text = left.Next()) {
            ++amount.items;
            amount.bytes += text->StringsSize();
        }
        return amount;
    }

private:
    std::string_view m_left;
};

}  // namespace applist
