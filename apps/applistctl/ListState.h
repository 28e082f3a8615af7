// SPDX-License-Identifier: MIT

// The service's list as it was at one moment, to be shown and compared.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "AppList.h"

namespace applist::ctl {

// An item by value: the model's own objects go with the next change.
struct Entry {
    std::string name;
    std::string id;
};

// Compare the id and the name.
bool operator==(const Entry& left, const Entry& right);
bool operator<(const Entry& left, const Entry& right);

struct ListState {
    std::vector<Entry> items;
    Entry selection;
    // Where the selection is in `items`; nothing when it is not in the list.
    std::optional<std::size_t> selected;

    // False when the empty item is selected, as it is while the list is empty.
    bool HasSelection() const { return selected || !(selection == Entry()); }
    // How many items have this id, and how many are equal to `entry`: ids may repeat.
    std::size_t CountId(const std::string& id) const;
    std::size_t Count(const Entry& entry) const;
};

// Copies what `model` holds now.
ListState StateOf(AppListModel& model);

}  // namespace applist::ctl
