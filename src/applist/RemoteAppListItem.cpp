// SPDX-License-Identifier: MIT

#include "applist/RemoteAppListItem.h"

#include <istream>
#include <optional>
#include <ostream>
#include <utility>

#include "common/ItemText.h"

using applist::ItemText;

namespace {

void SetBadbitQuietly(std::ostream& out) {
    try {
        out.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {
        // The bit is set all the same, and the caller has a better exception to rethrow.
    }
}

}  // namespace

RemoteAppListItem::RemoteAppListItem(std::string visibleName, std::string uniqueId)
    : m_visibleName(std::move(visibleName)), m_uniqueId(std::move(uniqueId)) {}

RemoteAppListItem::RemoteAppListItem(AppListItem& item)
    : m_visibleName(item.GetVisibleName()), m_uniqueId(item.GetUnigueId()) {}

std::string RemoteAppListItem::GetVisibleName() {
    return m_visibleName;
}

std::string RemoteAppListItem::GetUnigueId() {
    return m_uniqueId;
}

// Writes straight to the buffer: one sentry for the item instead of one for each piece. The price
// is that an exception from the buffer must be handled here, as the standard inserters do: it sets
// badbit, and reaches only those who asked the stream for exceptions.
std::ostream& operator<<(std::ostream& out, const RemoteAppListItem& item) {
    const std::ostream::sentry sentry(out);
    if (!sentry) return out;
    bool good = false;
    try {
        good = ItemText::Write(item.m_visibleName, item.m_uniqueId, *out.rdbuf());
    } catch (...) {
        SetBadbitQuietly(out);
        if ((out.exceptions() & std::ios_base::badbit) != 0) throw;
        return out;
    }
    if (!good) out.setstate(std::ios_base::badbit);
    return out;
}

// The line's own memory becomes the unique id's, so that only the name is copied.
std::istream& operator>>(std::istream& in, RemoteAppListItem& item) {
    std::string line;
    if (!std::getline(in, line, ItemText::kTerminator)) return in;
    // getline also stops at the end of the data, but a line without its terminator is half an item.
    const std::optional<ItemText> text = in.eof() ? std::nullopt : ItemText::Of(line);
    if (!text) {
        in.setstate(std::ios_base::failbit);
        return in;
    }
    const std::size_t idBegin = text->NameText().size() + 1;
    item.m_visibleName.assign(text->NameText());
    line.erase(0, idBegin);
    if (text->HasEscape()) {
        ItemText::Unescape(item.m_visibleName);
        ItemText::Unescape(line);
    }
    item.m_uniqueId = std::move(line);
    return in;
}
