// SPDX-License-Identifier: MIT

// Reads items from a text with one item per line: visible name, TAB, unique id. Unlike the
// protocol, which skips bad lines, this stops at the first one, because a person can mend it.

#pragma once

#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "apps/common/ReadText.h"

namespace applist {

// Returns all items in `text`, which error messages call `source`. An empty text has none.
// Throws InputError at the first line that is not an item: "apps.txt:3: no TAB …; insert one".
std::vector<RemoteAppListItem> ReadItemLines(const std::string& text, const std::string& source);

// The same for the file at `path`, or standard input when that is "-".
std::vector<RemoteAppListItem> ReadItemFile(const std::string& path);

}  // namespace applist
