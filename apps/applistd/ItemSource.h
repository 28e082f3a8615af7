// SPDX-License-Identifier: MIT

// Where the daemon's own items come from, and news about them.
//
// Threads: the thread of the main loop. Lifetime: reports nothing after its destruction.

#pragma once

#include <functional>
#include <vector>

#include "applist/RemoteAppListItem.h"

namespace applist::daemon {

class ItemSource {
public:
    // Is given all items, whether or not they differ from the last ones. What it throws is logged.
    using Listener = std::function<void(std::vector<RemoteAppListItem> all)>;

    ItemSource() = default;
    virtual ~ItemSource() = default;
    ItemSource(const ItemSource&) = delete;
    ItemSource& operator=(const ItemSource&) = delete;

    // Returns all items as they are now. Throws what keeps them from being read.
    virtual std::vector<RemoteAppListItem> Read() = 0;

    // Reads and reports all items before it returns, without waiting for a pause in their changes.
    // What keeps them from being read is logged.
    virtual void ReadAgain() = 0;
};

}  // namespace applist::daemon
