// SPDX-License-Identifier: MIT

// What is done with the items that partners have added, and that the service owns.
//
// Threads: the service's. Lifetime: whoever has the vector owns the items in it.

#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "applist/RemoteAppListItem.h"

namespace applist {

class DeleteAppListItem {
public:
    void operator()(RemoteAppListItem* item) const { delete item; }
};

inline std::size_t BytesOf(const RemoteAppListItem& item) {
    return item.VisibleName().size() + item.UniqueId().size();
}

inline std::size_t BytesOf(const std::vector<RemoteAppListItem*>& items) {
    std::size_t sum = 0;
    for (const RemoteAppListItem* item : items) sum += BytesOf(*item);
    return sum;
}

// Returns where the first item with the id of `wanted` stands. The registry holds items of the
// service's own making alone, so their ids are compared where they are, lengths first: a search
// through copies of them would let one request with a huge id take the service's time for seconds.
inline std::vector<RemoteAppListItem*>::iterator Find(std::vector<RemoteAppListItem*>& registry,
                                                      const RemoteAppListItem& wanted) {
    return std::find_if(registry.begin(), registry.end(), [&](const RemoteAppListItem* item) {
        return item->UniqueId() == wanted.UniqueId();
    });
}

// Reserves room for `more`, growing like push_back, which cannot fail after it.
inline void MakeRoom(std::vector<RemoteAppListItem*>& registry, std::size_t more) {
    if (more <= registry.capacity() - registry.size()) return;
    registry.reserve(std::max(registry.size() + more, 2 * registry.capacity()));
}

// The items that one call appends to the registry. Takes them back unless they are kept: the
// registry never holds an item that the model has not been given.
class Batch {
public:
    Batch(std::vector<RemoteAppListItem*>& registry, std::size_t& bytes)
        : m_registry(registry), m_bytes(bytes), m_before(registry.size()), m_bytesBefore(bytes) {}
    ~Batch() {
        if (m_isKept) return;
        m_bytes = m_bytesBefore;
        const auto first = m_registry.begin() + static_cast<std::ptrdiff_t>(m_before);
        std::for_each(first, m_registry.end(), DeleteAppListItem());
        m_registry.erase(first, m_registry.end());
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    void Keep() { m_isKept = true; }

private:
    std::vector<RemoteAppListItem*>& m_registry;
    std::size_t& m_bytes;
    const std::size_t m_before;
    const std::size_t m_bytesBefore;
    bool m_isKept = false;
};

}  // namespace applist
