// Text from elsewhere, made safe for a terminal or a log.

#pragma once

#include <cstddef>
#include <string>

namespace applist {

// Returns `bytes` with every control character (C0, DEL, C1), every mark that turns the direction
// of text, and every byte that is not part of valid UTF-8, written as \xNN. Everything else,
// letters of any script included, stands as it is.
std::string PrintableText(const std::string& bytes);

// The length of the character at `at` when it is one that turns the direction in which what stands
// around it is shown, such as U+202E: names can pass for others by it. 0 for any other.
std::size_t DirectionMarkLength(const std::string& text, std::size_t at);

}  // namespace applist
