// SPDX-License-Identifier: MIT

// A file of items that a person gives to a command.

#pragma once

#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "apps/applistctl/ListState.h"

namespace applist::ctl {

// Returns the items in the file at `path`, or in standard input when that is "-". They are taken
// byte by byte; but when ids end in a carriage return, which most likely nobody meant, a person is
// told. Throws InputError.
std::vector<Entry> ReadEntries(const std::string& path);

std::vector<Entry> EntriesOf(std::vector<RemoteAppListItem> items);

// The items of `entries`, as a model takes them.
class Items {
public:
    explicit Items(const std::vector<Entry>& entries);
    Items(const Items&) = delete;
    Items& operator=(const Items&) = delete;

    const std::vector<AppListItem*>& Pointers() const { return m_pointers; }

private:
    std::vector<RemoteAppListItem> m_items;
    std::vector<AppListItem*> m_pointers;
};

}  // namespace applist::ctl
