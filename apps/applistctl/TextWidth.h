// How wide a text is on a terminal, in the process's locale, which is a UTF-8 one (UseUtf8Locale).

#pragma once

#include <cstddef>
#include <string>

namespace applist::ctl {

// Chooses the user's locale for letters; one of UTF-8 in any case, as names mostly are.
void UseUtf8Locale();

// The columns that `text`, which is printable, takes: 2 for a wide character, 0 for a mark that
// stands on the one before it.
std::size_t WidthOf(const std::string& text);

// Returns `text`, or as much of its beginning as leaves room for an ellipsis in `width` columns.
std::string CutTo(const std::string& text, std::size_t width);

}  // namespace applist::ctl
