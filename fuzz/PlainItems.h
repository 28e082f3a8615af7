// SPDX-License-Identifier: MIT

// Items read from their text in the plainest way, for targets to compare with.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "AppList.h"

namespace applist::fuzz {

struct PlainItem {
    std::string name;
    std::string id;
};

bool operator==(const PlainItem& left, const PlainItem& right);
bool operator<(const PlainItem& left, const PlainItem& right);

// What `item` shows now.
PlainItem PlainItemOf(AppListItem& item);
std::vector<PlainItem> PlainItemsOf(const std::vector<AppListItem*>& items);

// The items up to the first line that is none, and the number of that line; 0 when all are items.
struct PlainText {
    std::vector<PlainItem> items;
    std::size_t badLine = 0;
};
PlainText ReadPlainText(const std::string& text);

}  // namespace applist::fuzz
