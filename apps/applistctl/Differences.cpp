// SPDX-License-Identifier: MIT

#include "apps/applistctl/Differences.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>

#include "common/ItemText.h"
#include "common/ItemTextWriter.h"
#include "partner/RowChanges.h"

namespace applist::ctl {

namespace {

std::vector<char> TextOf(const std::vector<Entry>& items) {
    std::size_t size = 0;
    for (const Entry& item : items) size += ItemText::SizeOf(item.name, item.id);
    ItemTextWriter text(size);
    for (const Entry& item : items) text.Append(item.name, item.id);
    return std::move(text).Take();
}

std::vector<ItemText> LinesOf(const std::vector<char>& text) {
    std::vector<ItemText> lines;
    std::string_view left(text.data(), text.size());
    while (!left.empty()) lines.push_back(ItemText::Take(left).value());
    return lines;
}

RowOrigins OriginsBetween(const std::vector<Entry>& before, const std::vector<Entry>& now) {
    const std::vector<char> oldText = TextOf(before);
    const std::vector<char> text = TextOf(now);
    return RowOriginsBetween(LinesOf(oldText), LinesOf(text));
}

// Items that came or went do not count: they are told as such, and move the others anyway.
bool KeepsOrder(const RowOrigins& origins) {
    Places kept = origins.was;
    kept.erase(std::remove(kept.begin(), kept.end(), kNone), kept.end());
    return std::is_sorted(kept.begin(), kept.end());
}

}  // namespace

std::vector<Event> Differences(const ListState& before, const ListState& now) {
    const RowOrigins origins = OriginsBetween(before.items, now.items);
    std::vector<Event> events;
    for (std::size_t at = 0; at < origins.isKept.size(); ++at) {
        if (!origins.isKept[at]) events.push_back({"removed", before.items[origins.begin + at]});
    }
    for (std::size_t at = 0; at < origins.was.size(); ++at) {
        const Entry& item = now.items[origins.begin + at];
        const std::uint32_t was = origins.was[at];
        if (was == kNone) {
            events.push_back({"added", item});
        } else if (origins.isRenamed[at]) {
            events.push_back({"renamed", item, before.items[origins.begin + was]});
        }
    }
    if (!KeepsOrder(origins)) events.push_back({"reordered"});
    // By id: when the selected item is renamed, it is still the one that is selected.
    if (before.selection.id != now.selection.id) {
        events.push_back({"selected", now.selection});
    }
    return events;
}

}  // namespace applist::ctl
