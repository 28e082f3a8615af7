// Reads items from a text of one item a line, as people write it: visible name, TAB, unique id.
//
// Threads: any. Lifetime: nothing is kept.

#pragma once

#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"

// Says where reading stopped and why, in one line: "apps.txt:3: no TAB between name and id".
class ItemLinesError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads all items of `in`, which messages call `source`. An empty text has none.
// Throws ItemLinesError at the first line that is no item, and when reading itself fails.
std::vector<RemoteAppListItem> ReadItemLines(std::istream& in, const std::string& source);

// The same for the file at `path`, or standard input when that is "-".
std::vector<RemoteAppListItem> ReadItemFile(const std::string& path);
