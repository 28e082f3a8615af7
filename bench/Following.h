// SPDX-License-Identifier: MIT

// A partner that follows a list, and the loop that it needs.
//
// Threads: one, whose default sd-event loop it uses. Lifetime: one at a time.

#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "BareBus.h"
#include "ByHand.h"
#include "Way.h"
#include "applist/RemoteAppListItem.h"
#include "partner/RemoteAppListModel.h"

namespace bench {

class Following {
public:
    // Comes up on the bus at `address`, and may go on another way from there. Throws
    // std::runtime_error when the service of the list does not show up.
    Following(const std::string& address, Way way);

    applist::RemoteAppListModel& Model() { return m_model; }

    // What the replica holds.
    std::vector<PlainItem> Items();

    // Empties the list, adds `items` to it without waiting for any, and waits until the replica
    // shows them.
    void WriteAnew(std::vector<RemoteAppListItem>& items);

    // Runs the loop until `done`, or for `time`; returns whether it was done.
    bool RunUntil(const std::function<bool()>& done, std::chrono::milliseconds time);

private:
    applist::UniqueEvent m_loop;
    applist::RemoteAppListModel m_model;
};

std::vector<RemoteAppListItem> RemoteItems(const std::vector<PlainItem>& plain);

bool AreSame(const std::vector<PlainItem>& left, const std::vector<PlainItem>& right);

// Throws std::runtime_error when the two differ: what is timed must be the list.
void RequireSame(const std::vector<PlainItem>& items, const std::vector<PlainItem>& expected);

}  // namespace bench
