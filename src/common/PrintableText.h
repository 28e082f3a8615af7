// Text from elsewhere, made safe for a terminal or a log.

#pragma once

#include <cstddef>
#include <string>

namespace applist {

// Returns `bytes` with every control character (C0, DEL, C1), every mark that changes the direction
// of text, and every byte that is not part of valid UTF-8, written as \xNN. Everything else stays,
// letters of any script included.
std::string PrintableText(const std::string& bytes);

// Returns the length of the character at `at` when it is one that changes the direction of the text
// around it, such as U+202E, with which one name can be made to look like another. Returns 0 for
// any other character.
std::size_t DirectionMarkLength(const std::string& text, std::size_t at);

}  // namespace applist
