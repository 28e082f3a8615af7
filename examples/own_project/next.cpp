// SPDX-License-Identifier: MIT

// Selects the next application of the list that another process publishes, as a knob would.

#include <cstddef>
#include <exception>
#include <iostream>
#include <vector>

#include "common/PrintableText.h"
#include "partner/RemoteAppListModel.h"

// The place of the selected item; that of the last one if none is selected.
static std::size_t PlaceOfSelection(applist::RemoteAppListModel& list) {
    const std::vector<AppListItem*> items = list.GetAllItems();
    std::size_t place = 0;
    while (place + 1 < items.size() &&
           items[place]->GetUnigueId() != list.GetSelection()->GetUnigueId()) {
        ++place;
    }
    return place;
}

int main() try {
    applist::RemoteAppListModel list;
    list.Synchronize();  // until the list is here
    const std::vector<AppListItem*> items = list.GetAllItems();
    if (items.empty()) return 1;
    AppListItem* const next = items[(PlaceOfSelection(list) + 1) % items.size()];
    std::cout << applist::PrintableText(next->GetVisibleName()) << '\n';
    list.SetSelection(next);
    list.Synchronize();  // until it is selected
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
