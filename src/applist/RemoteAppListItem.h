// SPDX-License-Identifier: MIT

// An item as it crosses the channel: a copyable record of a visible name and a unique id, with
// operators for its text (common/ItemText.h).

#pragma once

#include <iosfwd>
#include <string>

#include "AppList.h"
#include "common/Export.h"

class APPLIST_EXPORT RemoteAppListItem : public AppListItem {
public:
    // An empty item: both strings are empty.
    RemoteAppListItem() = default;

    // Takes both strings as they are: escapes exist only in the item's text.
    RemoteAppListItem(std::string visibleName, std::string uniqueId);

    // A snapshot of `item`, whose getters are called once each. Later changes of `item` do not
    // show in it.
    RemoteAppListItem(AppListItem& item);

    std::string GetVisibleName() override;
    std::string GetUnigueId() override;

    // The same two without a copy, which may be megabytes.
    const std::string& VisibleName() const { return m_visibleName; }
    const std::string& UniqueId() const { return m_uniqueId; }

    // True when both strings are equal, byte for byte. Items with one id and two names are the same
    // item (ApplistItemComparator), but not equal.
    friend bool operator==(const RemoteAppListItem& left, const RemoteAppListItem& right) {
        return left.m_uniqueId == right.m_uniqueId && left.m_visibleName == right.m_visibleName;
    }

    // Writes the item's text. Sets badbit when the buffer takes no more or throws.
    friend APPLIST_EXPORT std::ostream& operator<<(std::ostream& out,
                                                   const RemoteAppListItem& item);

    // Reads exactly one line and overwrites both strings. Sets failbit and leaves `item` as it was
    // when there is no line, or when the line does not end with LF (then eofbit too), has no TAB, a
    // second raw TAB or an unknown escape; a bad line that ends with LF is consumed. No input makes
    // it throw, unless the stream was asked to; std::bad_alloc may come through. Memory grows only
    // with the bytes that are really there.
    friend APPLIST_EXPORT std::istream& operator>>(std::istream& in, RemoteAppListItem& item);

private:
    std::string m_visibleName;
    std::string m_uniqueId;
};
