// Text from elsewhere, made safe for a terminal or a log. Any thread: plain values.

#pragma once

#include <string>

namespace applist {

// Returns `bytes` with every control character (C0, DEL, C1), and every byte that is not part of
// valid UTF-8, written as \xNN. Everything else, letters of any script included, stands as it is.
std::string PrintableText(const std::string& bytes);

}  // namespace applist
