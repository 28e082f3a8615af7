// SPDX-License-Identifier: MIT

// The bytes of an item that do not stand for themselves in its text, and what is written for them.

#pragma once

#include "common/ItemText.h"

namespace applist {

constexpr char kEscape = '\\';

inline bool IsSpecial(char c) {
    return c == kEscape || c == ItemText::kSeparator || c == ItemText::kTerminator;
}

// Returns the letter that stands for `special` after a backslash.
inline char LetterFor(char special) {
    switch (special) {
        case ItemText::kSeparator: return 't';
        case ItemText::kTerminator: return 'n';
        default: return kEscape;
    }
}

}  // namespace applist
