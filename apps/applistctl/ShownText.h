// Text from elsewhere, made safe for a person's eyes. Any thread: plain values.

#pragma once

#include <cstddef>
#include <string>

namespace applist::ctl {

// The length of the character at `at` when it is one that turns the direction in which what stands
// around it is shown, such as U+202E: names can pass for others by it. 0 for any other.
std::size_t DirectionMarkLength(const std::string& text, std::size_t at);

// PrintableText, in which those characters are written as \xNN, too.
std::string ShownText(const std::string& bytes);

}  // namespace applist::ctl
