// SPDX-License-Identifier: MIT

// How wide a text is on a terminal. Call UseUtf8Locale first: the process's locale decides.

#pragma once

#include <cstddef>
#include <string>

namespace applist::ctl {

// Chooses the user's locale for characters, or C.UTF-8 if the user's is not a UTF-8 one: most names
// are UTF-8, whatever the user's locale is.
void UseUtf8Locale();

// Returns how many columns `text`, which must be printable, takes: 2 for a wide character, 0 for a
// mark that combines with the character before it.
std::size_t WidthOf(const std::string& text);

// Returns `text`, or as much of its beginning as leaves room for an ellipsis in `width` columns.
std::string CutTo(const std::string& text, std::size_t width);

}  // namespace applist::ctl
