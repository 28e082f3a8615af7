// SPDX-License-Identifier: MIT

// What has happened to a list, in words.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// So many items were, in one word, "added" or the like.
struct Tally {
    const char* what;
    std::size_t count;
};

// One thing that happened, as `watch` tells it and as an edit reports it.
struct Event {
    std::string what;                       // one word, by which programs know the event
    std::optional<Entry> item = {};         // the item to which it happened
    std::optional<Entry> before = {};       // what that item was until then
    std::optional<std::size_t> count = {};  // of items, for an event that concerns several
    std::vector<Tally> tallies = {};        // how many of them fared how
};

// Returns what turns `before` into `now`: items removed (in the old order), items added and renamed
// (in the new order), then whether the others changed places, then a new selection. Among items
// with the same id, those with the same name are taken to be the same.
std::vector<Event> Differences(const ListState& before, const ListState& now);

}  // namespace applist::ctl
