#include "common/PrintableText.h"

#include <string_view>

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

// The length of the printable character at `at`; 0 when what is there is not printable.
std::size_t PrintableLength(const std::string& bytes, std::size_t at) {
    const unsigned char lead = At(bytes, at);
    if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
    const std::size_t length = AnnouncedLength(lead);
    if (length == 0 || bytes.size() - at < length) return 0;
    for (std::size_t next = at + 1; next < at + length; ++next) {
        if ((At(bytes, next) & 0xC0) != 0x80) return 0;
    }
    const bool isShown =
        SecondByteFits(lead, At(bytes, at + 1)) && DirectionMarkLength(bytes, at) == 0;
    return isShown ? length : 0;
}

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
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = PrintableLength(bytes, at);
        if (length == 0) {
            text += "\\x";
            text += kHex[At(bytes, at) >> 4];
            text += kHex[At(bytes, at) & 0xF];
            ++at;
            continue;
        }
        text.append(bytes, at, length);
        at += length;
    }
    return text;
}

}  // namespace applist
