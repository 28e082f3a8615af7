#include "common/ItemText.h"

#include <algorithm>
#include <cstring>
#include <streambuf>
#include <utility>

namespace applist {

namespace {

constexpr char kEscape = '\\';

bool IsSpecial(char c) {
    return c == kEscape || c == ItemText::kSeparator || c == ItemText::kTerminator;
}

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

// Returns the letter that stands for `special` after a backslash.
char LetterFor(char special) {
    switch (special) {
        case ItemText::kSeparator: return 't';
        case ItemText::kTerminator: return 'n';
        default: return kEscape;
    }
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

// Copies `size` bytes, at least one block, and returns whether none of them needs an escape. Works
// in blocks, the last two of which overlap, for the same reason as HasSpecial.
template <std::size_t kBlock>
bool CopyBlocks(const char* from, std::size_t size, char* to) {
    unsigned char found[kBlock] = {};
    const auto copy = [&](std::size_t begin) {
        for (std::size_t at = 0; at < kBlock; ++at) found[at] |= IsSpecial(from[begin + at]);
        std::memcpy(to + begin, from + begin, kBlock);
    };
    for (std::size_t begin = 0; begin + kBlock < size; begin += kBlock) copy(begin);
    copy(size - kBlock);
    constexpr unsigned char kNothing[kBlock] = {};
    return std::memcmp(found, kNothing, kBlock) == 0;
}

// Shorter strings get smaller blocks, since CopyBlocks needs a whole one.
bool CopyPlain(std::string_view text, char* to) {
    if (text.size() >= 16) return CopyBlocks<16>(text.data(), text.size(), to);
    if (text.size() >= 8) return CopyBlocks<8>(text.data(), text.size(), to);
    return text.empty() || CopyBlocks<1>(text.data(), text.size(), to);
}

char* Escape(std::string_view text, char* to) {
    for (const char c : text) {
        if (IsSpecial(c)) *to++ = kEscape;
        *to++ = IsSpecial(c) ? LetterFor(c) : c;
    }
    return to;
}

// Puts a text without escapes. Returns false, with anything at `to`, when it needs some.
bool PutPlain(std::string_view visibleName, std::string_view uniqueId, char* to) {
    char* const separator = to + visibleName.size();
    char* const terminator = separator + 1 + uniqueId.size();
    if (!CopyPlain(visibleName, to) || !CopyPlain(uniqueId, separator + 1)) return false;
    *separator = ItemText::kSeparator;
    *terminator = ItemText::kTerminator;
    return true;
}

void PutEscaped(std::string_view visibleName, std::string_view uniqueId, char* to) {
    to = Escape(visibleName, to);
    *to++ = ItemText::kSeparator;
    to = Escape(uniqueId, to);
    *to = ItemText::kTerminator;
}

// Large enough that a list of usual size has few, small enough to be no matter when it is unused.
constexpr std::size_t kPiece = std::size_t{64} << 10;

// Writes the end of one piece and the beginning of the next, together as large as what is written.
class TwoSpans : public std::streambuf {
public:
    TwoSpans(char* first, char* firstEnd, char* second, char* secondEnd)
        : m_second(second), m_secondEnd(secondEnd) {
        setp(first, firstEnd);
    }

protected:
    int_type overflow(int_type c) override {
        if (pptr() == m_secondEnd) return traits_type::eof();
        setp(m_second, m_secondEnd);
        return sputc(traits_type::to_char_type(c));
    }

private:
    char* const m_second;
    char* const m_secondEnd;
};

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

// First as if nothing needed an escape, which is true of most items, and as if there were room.
// When that turns out wrong, the bytes put so far are simply overwritten: m_at has not moved.
void ItemTextWriter::Append(std::string_view visibleName, std::string_view uniqueId) {
    const std::size_t size = visibleName.size() + uniqueId.size() + 2;
    if (size > Left() || !PutPlain(visibleName, uniqueId, m_at)) {
        return AppendEscaped(visibleName, uniqueId);
    }
    m_at += size;
}

// Fills the end of the room, however small, and makes a piece for the whole rest of the item,
// however large, so that no room is lost between two pieces.
void ItemTextWriter::AppendEscaped(std::string_view visibleName, std::string_view uniqueId) {
    const std::size_t size = ItemText::SizeOf(visibleName, uniqueId);
    if (size <= Left()) {
        PutEscaped(visibleName, uniqueId, m_at);
        m_at += size;
        return;
    }
    const std::size_t rest = size - Left();
    const std::size_t made = std::max(rest, kPiece);
    m_pieces.push_back({std::unique_ptr<char[]>(new char[made]), made});
    char* const piece = m_pieces.back().data.get();
    TwoSpans spans(m_at, m_end, piece, piece + rest);
    ItemText::Write(visibleName, uniqueId, spans);
    m_at = piece + rest;
    m_end = piece + made;
}

std::vector<char> ItemTextWriter::Take() && {
    if (m_pieces.empty()) {
        m_buffer.resize(m_buffer.size() - Left());
        return std::move(m_buffer);
    }
    m_pieces.back().size -= Left();
    std::size_t size = m_buffer.size();
    for (const Piece& piece : m_pieces) size += piece.size;
    std::vector<char> text;
    text.reserve(size);
    text.insert(text.end(), m_buffer.begin(), m_buffer.end());
    for (const Piece& piece : m_pieces) {
        text.insert(text.end(), piece.data.get(), piece.data.get() + piece.size);
    }
    return text;
}

}  // namespace applist
