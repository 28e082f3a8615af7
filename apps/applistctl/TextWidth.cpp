// SPDX-License-Identifier: MIT

#include "apps/applistctl/TextWidth.h"

#include <langinfo.h>

#include <clocale>
#include <cstring>
#include <cwchar>

namespace applist::ctl {

namespace {

const char kEllipsis[] = "\u2026";

struct Character {
    std::size_t bytes;
    std::size_t columns;
};

// A byte that the locale does not understand counts as one column, and the next one is looked at:
// the width may come out wrong, but the loop always ends.
Character CharacterAt(const std::string& text, std::size_t at) {
    std::mbstate_t state = {};
    wchar_t letter = 0;
    const std::size_t length = std::mbrtowc(&letter, text.data() + at, text.size() - at, &state);
    if (length == 0 || length > text.size() - at) return {1, 1};
    // The locale does not know the newest letters; a terminal shows something in their place.
    const int columns = wcwidth(letter);
    return {length, columns < 0 ? 1 : static_cast<std::size_t>(columns)};
}

}  // namespace

void UseUtf8Locale() {
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

std::size_t WidthOf(const std::string& text) {
    std::size_t width = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Character next = CharacterAt(text, at);
        at += next.bytes;
        width += next.columns;
    }
    return width;
}

std::string CutTo(const std::string& text, std::size_t width) {
    if (WidthOf(text) <= width) return text;
    if (width == 0) return std::string();
    std::size_t end = 0;
    for (std::size_t used = 0;;) {
        const Character next = CharacterAt(text, end);
        used += next.columns;
        // One column is for the ellipsis.
        if (used > width - 1) return text.substr(0, end) + kEllipsis;
        end += next.bytes;
    }
}

}  // namespace applist::ctl
