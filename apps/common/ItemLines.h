// Reads items from a text of one item a line, as people write it: visible name, TAB, unique id.

#pragma once

#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "apps/common/ReadText.h"

namespace applist {

// Reads all items of `text`, which messages call `source`. An empty text has none.
// Throws InputError at the first line that is no item: "apps.txt:3: no TAB …; insert one".
std::vector<RemoteAppListItem> ReadItemLines(const std::string& text, const std::string& source);

// The same for the file at `path`, or standard input when that is "-".
std::vector<RemoteAppListItem> ReadItemFile(const std::string& path);

}  // namespace applist
