// What became of a list, in words.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// One thing that happened, as `watch` tells it and as an edit reports it.
struct Event {
    std::string what;             // one word, which programs know it by
    std::optional<Entry> item;    // what it happened to
    std::optional<Entry> before;  // what that was until then
    std::optional<std::size_t> count;
};

// Returns what turns `before` into `now`: items removed (in the old order), added and renamed (in
// the new order), then whether the others changed places, then another selection. Of several items
// with one id, those with equal names are taken for the same.
std::vector<Event> Differences(const ListState& before, const ListState& now);

}  // namespace applist::ctl
