// SPDX-License-Identifier: MIT

#include "apps/common/ItemLines.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include "common/ItemText.h"

namespace applist {

namespace {

// `rest` follows a backslash. Its first byte is shown only when it is a whole letter: half of one
// would spoil the message.
std::string DescribeEscape(std::string_view rest) {
    if (rest.empty() || rest.front() == ItemText::kSeparator) {
        return "the name or the id ends with a single \\; write \\\\ for a backslash";
    }
    const bool isWhole = static_cast<unsigned char>(rest.front()) < 0x80;
    return "unknown escape \\" + std::string(rest.substr(0, isWhole ? 1 : 0)) +
           "; use only \\t, \\n and \\\\, which is a backslash";
}

// Says why `line` is not an item, and how to mend it.
std::string DescribeFault(std::string_view line) {
    switch (ItemText::FaultOf(line)) {
        case ItemText::Fault::kNoSeparator: return "no TAB between the name and the id; insert one";
        case ItemText::Fault::kSecondSeparator:
            return "a second TAB; write \\t for a TAB inside the name or the id";
        default: return DescribeEscape(line.substr(ItemText::FindUnknownEscape(line) + 1));
    }
}

}  // namespace

std::vector<RemoteAppListItem> ReadItemLines(const std::string& text, const std::string& source) {
    std::vector<RemoteAppListItem> items;
    for (std::string_view left = text; !left.empty();) {
        const std::string place = source + ":" + std::to_string(items.size() + 1) + ": ";
        const std::size_t size = left.find(ItemText::kTerminator);
        if (size == std::string_view::npos) {
            throw InputError(place + "the last line does not end with a line feed; add one");
        }
        const std::string_view line = left.substr(0, size);
        const std::optional<ItemText> item = ItemText::Of(line);
        if (!item) throw InputError(place + DescribeFault(line));
        items.emplace_back(item->VisibleName(), item->UniqueId());
        left.remove_prefix(size + 1);
    }
    return items;
}

std::vector<RemoteAppListItem> ReadItemFile(const std::string& path) {
    return ReadItemLines(ReadText(path), SourceName(path));
}

}  // namespace applist
