// SPDX-License-Identifier: MIT

#include "apps/applistctl/ListState.h"

#include <algorithm>
#include <tuple>

namespace applist::ctl {

bool operator==(const Entry& left, const Entry& right) {
    return left.id == right.id && left.name == right.name;
}

bool operator<(const Entry& left, const Entry& right) {
    return std::tie(left.id, left.name) < std::tie(right.id, right.name);
}

std::size_t ListState::CountId(const std::string& id) const {
    return static_cast<std::size_t>(std::count_if(
        items.begin(), items.end(), [&](const Entry& entry) { return entry.id == id; }));
}

std::size_t ListState::Count(const Entry& entry) const {
    return static_cast<std::size_t>(std::count(items.begin(), items.end(), entry));
}

ListState StateOf(AppListModel& model) {
    ListState state;
    AppListItem* const selection = model.GetSelection();
    state.selection = {selection->GetVisibleName(), selection->GetUnigueId()};
    for (AppListItem* item : model.GetAllItems()) {
        // By object: of several items with the selected id only one is selected.
        if (item == selection) state.selected = state.items.size();
        state.items.push_back({item->GetVisibleName(), item->GetUnigueId()});
    }
    return state;
}

}  // namespace applist::ctl
