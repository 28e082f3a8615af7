// SPDX-License-Identifier: MIT

// Makes the text of several items, one after another. At no moment does it take more than twice the
// text's size plus one piece: a text that outgrows its room goes on in pieces, which are put
// together once, at the end.
//
// Lifetime: keeps nothing of what is appended.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace applist {

class ItemTextWriter {
public:
    // Makes room for `size` bytes in one buffer.
    explicit ItemTextWriter(std::size_t size)
        : m_buffer(size), m_at(m_buffer.data()), m_end(m_at + size) {}

    // Throws std::bad_alloc, with the text as it was, when memory runs out: never half an item.
    void Append(std::string_view visibleName, std::string_view uniqueId);

    // Hands the text over. Room that was made and not used remains as the vector's capacity; a text
    // that outgrew it has none to spare. Throws std::bad_alloc.
    std::vector<char> Take() &&;

    ItemTextWriter(const ItemTextWriter&) = delete;
    ItemTextWriter& operator=(const ItemTextWriter&) = delete;

private:
    struct Piece {
        std::unique_ptr<char[]> data;
        std::size_t size;
    };

    std::size_t Left() const { return static_cast<std::size_t>(m_end - m_at); }
    void AppendEscaped(std::string_view visibleName, std::string_view uniqueId);

    // Its size is all the room there is, so that it is filled with zeros once, not for each item.
    std::vector<char> m_buffer;
    std::vector<Piece> m_pieces;  // what comes after the buffer; all but the last are full
    char* m_at;                   // where the next byte goes: in the last piece, or the buffer
    char* m_end;
};

}  // namespace applist
