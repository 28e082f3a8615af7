// SPDX-License-Identifier: MIT

#include "fuzz/PlainItems.h"

#include <tuple>

#include "applist/ReferenceService.h"

namespace applist::fuzz {

bool operator==(const PlainItem& left, const PlainItem& right) {
    return left.name == right.name && left.id == right.id;
}

bool operator<(const PlainItem& left, const PlainItem& right) {
    return std::tie(left.name, left.id) < std::tie(right.name, right.id);
}

PlainItem PlainItemOf(AppListItem& item) {
    return {item.GetVisibleName(), item.GetUnigueId()};
}

std::vector<PlainItem> PlainItemsOf(const std::vector<AppListItem*>& items) {
    std::vector<PlainItem> plain;
    for (AppListItem* item : items) plain.push_back(PlainItemOf(*item));
    return plain;
}

PlainText ReadPlainText(const std::string& text) {
    PlainText plain;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        ReferenceService::Item item{0, "", ""};
        if (end == std::string::npos ||
            !ReferenceService::ReadLine(text.substr(at, end - at), item)) {
            plain.badLine = plain.items.size() + 1;
            return plain;
        }
        plain.items.push_back({item.name, item.id});
        at = end + 1;
    }
    return plain;
}

}  // namespace applist::fuzz
