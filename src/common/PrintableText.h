// SPDX-License-Identifier: MIT

// Text from elsewhere, made safe for a terminal or a log.

#pragma once

#include <cstddef>
#include <string>

#include "common/Export.h"

namespace applist {

// Returns `bytes` with everything written as \xNN that would move a terminal's cursor, or make one
// text look like another: control characters (C0, DEL, C1), marks that change the direction of
// text, bytes that are not part of valid UTF-8, characters that show nothing, accents without a
// letter, and all but the first eight on one. Everything else stays, letters of any script
// included. The joiners that many scripts and emoji need, which show nothing either, stay between
// letters of such scripts and between emoji, where they do something.
APPLIST_EXPORT std::string PrintableText(const std::string& bytes);

// Returns the length of the character at `at` when it is one that changes the direction of the text
// around it, such as U+202E, with which one name can be made to look like another. Returns 0 for
// any other character.
APPLIST_EXPORT std::size_t DirectionMarkLength(const std::string& text, std::size_t at);

}  // namespace applist
