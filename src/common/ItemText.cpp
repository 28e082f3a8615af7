// SPDX-License-Identifier: MIT

#include "common/ItemText.h"

#include <algorithm>
#include <streambuf>

#include "common/ItemEscapes.h"

namespace applist {

namespace {

// Looks at a block of bytes at a time: a compiler turns an inner loop without a branch into a few
// vector instructions. That is why hits are collected and not returned at once, and why the last
// block overlaps the one before it instead of leaving a rest.
bool HasSpecial(std::string_view text) {
    constexpr std::size_t kBlock = 16;
    unsigned char found[kBlock] = {};
    const auto look = [&](const char* block) {
        for (std::size_t at = 0; at < kBlock; ++at) found[at] |= IsSpecial(block[at]);
    };
    if (text.size() < kBlock) return std::any_of(text.begin(), text.end(), IsSpecial);
    const char* const last = text.data() + text.size() - kBlock;
    for (const char* block = text.data(); block < last; block += kBlock) look(block);
    look(last);
    return std::any_of(found, found + kBlock, [](unsigned char each) { return each != 0; });
}

// Returns what `letter` stands for after a backslash, or 0 when that is nothing.
char SpecialFor(char letter) {
    switch (letter) {
        case kEscape: return kEscape;
        case 't': return ItemText::kSeparator;
        case 'n': return ItemText::kTerminator;
        default: return 0;
    }
}

// The usual case first: most strings have nothing to escape.
std::size_t EscapedSize(std::string_view text) {
    if (!HasSpecial(text)) return text.size();
    const auto specials = std::count_if(text.begin(), text.end(), IsSpecial);
    return text.size() + static_cast<std::size_t>(specials);
}

// Returns how many escapes there are in `text`, which comes from a valid line.
std::size_t CountEscapes(std::string_view text) {
    std::size_t count = 0;
    std::size_t at = text.find(kEscape);
    for (; at != std::string_view::npos; at = text.find(kEscape, at + 2)) ++count;
    return count;
}

bool WriteBytes(std::string_view bytes, std::streambuf& to) {
    const auto size = static_cast<std::streamsize>(bytes.size());
    return to.sputn(bytes.data(), size) == size;
}

bool WriteByte(char c, std::streambuf& to) {
    using Traits = std::streambuf::traits_type;
    return !Traits::eq_int_type(to.sputc(c), Traits::eof());
}

// Never makes an escaped copy: a write must not need memory in proportion to the item.
bool WriteEscaped(std::string_view text, std::streambuf& to) {
    if (!HasSpecial(text)) return WriteBytes(text, to);
    for (;;) {
        const auto special = std::find_if(text.begin(), text.end(), IsSpecial);
        const auto plain = static_cast<std::size_t>(special - text.begin());
        if (!WriteBytes(text.substr(0, plain), to)) return false;
        if (special == text.end()) return true;
        if (!WriteByte(kEscape, to) || !WriteByte(LetterFor(*special), to)) return false;
        text.remove_prefix(plain + 1);
    }
}

}  // namespace

ItemText::ItemText(std::string_view line)
    : m_line(line),
      m_separator(line.find(kSeparator)),
      m_hasEscape(line.find(kEscape) != std::string_view::npos) {}

std::optional<ItemText> ItemText::Of(std::string_view line) {
    const ItemText text(line);
    if (text.FindFault() != Fault::kNone) return std::nullopt;
    return text;
}

std::optional<ItemText> ItemText::Take(std::string_view& text) {
    const std::size_t size = text.find(kTerminator);
    if (size == std::string_view::npos) return std::nullopt;
    const std::string_view line = text.substr(0, size);
    text.remove_prefix(size + 1);
    return Of(line);
}

ItemText::Fault ItemText::FaultOf(std::string_view line) {
    return ItemText(line).FindFault();
}

ItemText::Fault ItemText::FindFault() const {
    constexpr std::size_t kNone = std::string_view::npos;
    if (m_separator == kNone) return Fault::kNoSeparator;
    if (m_line.find(kSeparator, m_separator + 1) != kNone) return Fault::kSecondSeparator;
    if (m_hasEscape && FindUnknownEscape(m_line) != kNone) return Fault::kUnknownEscape;
    return Fault::kNone;
}

// No escape contains a raw separator, so none can reach from the name into the id: it is enough to
// look at the line as a whole.
std::size_t ItemText::FindUnknownEscape(std::string_view line) {
    std::size_t at = line.find(kEscape);
    while (at != std::string_view::npos) {
        if (at + 1 == line.size() || SpecialFor(line[at + 1]) == 0) return at;
        at = line.find(kEscape, at + 2);
    }
    return at;
}

std::string ItemText::VisibleName() const {
    return StringOf(NameText());
}

std::string ItemText::UniqueId() const {
    return StringOf(IdText());
}

// Its memory is that of the string and not of its text: an item that is made of escapes would keep
// twice of what it is.
std::string ItemText::StringOf(std::string_view text) const {
    if (!m_hasEscape) return std::string(text);
    std::string result;
    result.reserve(text.size() - CountEscapes(text));
    for (;;) {
        const std::size_t at = text.find(kEscape);
        result.append(text.substr(0, at));
        if (at == std::string_view::npos) return result;
        result += SpecialFor(text[at + 1]);
        text.remove_prefix(at + 2);
    }
}

std::size_t ItemText::StringsSize() const {
    return m_line.size() - 1 - (m_hasEscape ? CountEscapes(m_line) : 0);
}

// Every escape shrinks to one byte, so writing never overtakes reading. The byte after a backslash
// is always there: a line with an unknown escape is not an item.
void ItemText::Unescape(std::string& text) {
    std::size_t to = 0;
    for (std::size_t from = 0; from < text.size(); ++from) {
        text[to++] = text[from] == kEscape ? SpecialFor(text[++from]) : text[from];
    }
    text.resize(to);
}

std::size_t ItemText::SizeOf(std::string_view visibleName, std::string_view uniqueId) {
    return EscapedSize(visibleName) + EscapedSize(uniqueId) + 2;
}

bool ItemText::Write(std::string_view visibleName, std::string_view uniqueId, std::streambuf& to) {
    return WriteEscaped(visibleName, to) && WriteByte(kSeparator, to) &&
           WriteEscaped(uniqueId, to) && WriteByte(kTerminator, to);
}

}  // namespace applist
