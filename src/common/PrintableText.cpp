// SPDX-License-Identifier: MIT

#include "common/PrintableText.h"

#include <algorithm>
#include <string_view>

#include "common/ZeroWidth.h"

namespace applist {

namespace {

unsigned char At(const std::string& bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

// The length that a lead byte announces; 0 for a byte that starts no character of several bytes.
std::size_t AnnouncedLength(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// Overlong forms, surrogates and code points past U+10FFFF are told by their second byte.
bool SecondByteFits(unsigned char lead, unsigned char second) {
    switch (lead) {
        case 0xC2:  // below are the C1 controls
        case 0xE0: return second >= 0xA0;
        case 0xED: return second <= 0x9F;
        case 0xF0: return second >= 0x90;
        case 0xF4: return second <= 0x8F;
        default: return true;
    }
}

struct Character {
    std::size_t length = 0;  // in bytes; 0 when there is none
    char32_t code = 0;
};

// The character at `at`, if what is there is valid UTF-8 and no control character.
Character CharacterAt(const std::string& bytes, std::size_t at) {
    if (at >= bytes.size()) return {};
    const unsigned char lead = At(bytes, at);
    if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? Character{1, lead} : Character{};
    const std::size_t length = AnnouncedLength(lead);
    if (length == 0 || bytes.size() - at < length) return {};
    char32_t code = lead & (0x7FU >> length);
    for (std::size_t next = at + 1; next < at + length; ++next) {
        if ((At(bytes, next) & 0xC0) != 0x80) return {};
        code = code << 6 | (At(bytes, next) & 0x3FU);
    }
    if (!SecondByteFits(lead, At(bytes, at + 1))) return {};
    return {length, code};
}

// More marks on one letter than any language needs pile up over the lines around it.
constexpr std::size_t kMostMarks = 8;

// What of a text stays as it is. Characters that take no column stay where they have a use:
// elsewhere they would make two texts look alike, or a text look like none.
class Shown {
public:
    // Whether `code`, with `after` behind it, stays; 0 stands for bytes that are no character.
    bool Takes(char32_t code, char32_t after) {
        const bool takes = code != 0 && !IsUnseen(code) && Fits(code, after);
        m_before = takes ? code : 0;
        return takes;
    }

private:
    bool Fits(char32_t code, char32_t after) {
        if (IsJoining(code)) return HasUse(code, m_before, after);
        if (IsCombining(code)) return m_before != 0 && m_marks++ < kMostMarks;
        m_marks = 0;
        return true;
    }

    char32_t m_before = 0;
    std::size_t m_marks = 0;  // on the last letter
};

}  // namespace

std::size_t DirectionMarkLength(const std::string& text, std::size_t at) {
    static constexpr std::string_view kMarks[] = {
        "\u061C", "\u200E", "\u200F", "\u202A", "\u202B", "\u202C",
        "\u202D", "\u202E", "\u2066", "\u2067", "\u2068", "\u2069",
    };
    if (text[at] != '\xE2' && text[at] != '\xD8') return 0;  // how they all begin
    for (const std::string_view mark : kMarks) {
        if (text.compare(at, mark.size(), mark) == 0) return mark.size();
    }
    return 0;
}

std::string PrintableText(const std::string& bytes) {
    static const char kHex[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size());
    Shown shown;
    for (std::size_t at = 0; at < bytes.size();) {
        const Character next = CharacterAt(bytes, at);
        const bool turns = next.length > 0 && DirectionMarkLength(bytes, at) > 0;
        if (shown.Takes(turns ? 0 : next.code, CharacterAt(bytes, at + next.length).code)) {
            text.append(bytes, at, next.length);
            at += next.length;
            continue;
        }
        for (const std::size_t end = at + std::max<std::size_t>(next.length, 1); at < end; ++at) {
            text += "\\x";
            text += kHex[At(bytes, at) >> 4];
            text += kHex[At(bytes, at) & 0xF];
        }
    }
    return text;
}

}  // namespace applist
