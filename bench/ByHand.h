// SPDX-License-Identifier: MIT

// Item text without streams, as a careful programmer writes it for this one text: the yardstick for
// the item's stream operators, and what a partner in another language amounts to.
//
// It does what the operators do: the same text, the same checks, the same errors; into two strings
// of its own for each item. It assumes that the whole text lies in memory, which a stream may not.
//
// Threads: any. Lifetime: plain values.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bench {

struct PlainItem {
    std::string visibleName;
    std::string uniqueId;
};

// Appends the item's line to `text`: puts it together, looks with memchr for the three bytes that
// need an escape, and appends it at once.
void AppendByHand(const PlainItem& item, std::string& text);

// Reads one line from [at, end) into `item` and returns where the next one starts, or null when
// there is none or it is no item: memchr for LF, TAB, a second TAB and the backslash.
const char* ReadByHand(const char* at, const char* end, PlainItem& item);

// Returns `count` items, always the same ones, whose lines have 50 bytes on average and need no
// escape: names of 1 to 3 words, ids as desktop entries have them.
std::vector<PlainItem> SampleItems(std::size_t count);

}  // namespace bench
