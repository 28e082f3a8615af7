// The service's list as it was at one moment, to be shown and compared.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "AppList.h"

namespace applist::ctl {

struct Entry {
    std::string name;
    std::string id;
};

bool operator==(const Entry& left, const Entry& right);
bool operator<(const Entry& left, const Entry& right);

struct ListState {
    std::vector<Entry> items;
    Entry selection;
    // Where the selection stands in `items`; nothing when it is not in the list.
    std::optional<std::size_t> selected;

    // A service with an empty list has an empty item selected.
    bool HasSelection() const { return selected || !(selection == Entry()); }
    std::size_t CountId(const std::string& id) const;
    std::size_t Count(const Entry& entry) const;
};

// Copies what `model` holds now.
ListState StateOf(AppListModel& model);

}  // namespace applist::ctl
