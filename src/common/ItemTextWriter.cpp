// SPDX-License-Identifier: MIT

#include "common/ItemTextWriter.h"

#include <algorithm>
#include <cstring>
#include <streambuf>
#include <utility>

#include "common/ItemEscapes.h"
#include "common/ItemText.h"

namespace applist {

namespace {

// Copies `size` bytes, at least one block, and returns whether none of them needs an escape. Works
// in blocks, the last two of which overlap: a compiler turns an inner loop without a branch into a
// few vector instructions.
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

}  // namespace

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
