#include "partner/ItemLine.h"

#include <sstream>

#include "applist/RemoteAppListItem.h"

namespace applist {

namespace {

bool HasEscape(std::string_view text) {
    return text.find('\\') != std::string_view::npos;
}

// Which escapes there are, and what they mean, only the item itself knows. Few items have one.
bool Read(std::string_view line, RemoteAppListItem& item) {
    std::istringstream in(std::string(line) + '\n');
    // Otherwise the stream keeps it to itself that memory ran out, and a good line looks bad.
    in.exceptions(std::ios_base::badbit);
    return static_cast<bool>(in >> item);
}

RemoteAppListItem ItemOf(std::string_view line) {
    RemoteAppListItem item;
    Read(line, item);
    return item;
}

}  // namespace

std::optional<ItemLine> ItemLine::Of(std::string_view text) {
    const std::size_t separator = text.find('\t');
    if (separator == std::string_view::npos) return std::nullopt;
    if (text.find('\t', separator + 1) != std::string_view::npos) return std::nullopt;
    RemoteAppListItem item;
    if (HasEscape(text) && !Read(text, item)) return std::nullopt;
    return ItemLine(text, separator);
}

std::string ItemLine::VisibleName() const {
    return HasEscape(NameText()) ? ItemOf(m_text).GetVisibleName() : std::string(NameText());
}

std::string ItemLine::UniqueId() const {
    return HasEscape(IdText()) ? ItemOf(m_text).GetUnigueId() : std::string(IdText());
}

std::optional<std::vector<ItemLine>> ReadLines(const std::vector<char>& text, std::size_t limit) {
    std::vector<ItemLine> lines;
    std::string_view left(text.data(), text.size());
    while (!left.empty()) {
        const std::size_t size = left.find('\n');
        if (size == std::string_view::npos || lines.size() == limit) return std::nullopt;
        const std::optional<ItemLine> line = ItemLine::Of(left.substr(0, size));
        if (!line) return std::nullopt;
        lines.push_back(*line);
        left.remove_prefix(size + 1);
    }
    return lines;
}

}  // namespace applist
