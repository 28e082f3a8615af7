// SPDX-License-Identifier: MIT

#include "apps/applistctl/ItemFile.h"

#include <algorithm>

#include "apps/applistctl/Output.h"
#include "apps/common/ItemLines.h"

namespace applist::ctl {

namespace {

bool EndsInReturn(const Entry& entry) {
    return !entry.id.empty() && entry.id.back() == '\r';
}

// What a file from another system, or one that a mail program has touched, looks like.
void NoteReturns(const std::vector<Entry>& entries, const std::string& path) {
    const auto count = std::count_if(entries.begin(), entries.end(), EndsInReturn);
    if (count == 0) return;
    Note(SourceName(path) + ": " + std::to_string(count) +
         (count == 1 ? " line ends" : " lines end") +
         " in CR LF, and the CR belongs to the id; if that is not meant, take it away first with "
         "tr -d '\\r'");
}

}  // namespace

std::vector<Entry> EntriesOf(std::vector<RemoteAppListItem> items) {
    std::vector<Entry> entries;
    entries.reserve(items.size());
    for (RemoteAppListItem& item : items) {
        entries.push_back({item.GetVisibleName(), item.GetUnigueId()});
    }
    return entries;
}

Items::Items(const std::vector<Entry>& entries) {
    m_items.reserve(entries.size());
    m_pointers.reserve(entries.size());
    for (const Entry& entry : entries) {
        m_pointers.push_back(&m_items.emplace_back(entry.name, entry.id));
    }
}

std::vector<Entry> ReadEntries(const std::string& path) {
    std::vector<Entry> entries = EntriesOf(ReadItemFile(path));
    NoteReturns(entries, path);
    return entries;
}

}  // namespace applist::ctl
