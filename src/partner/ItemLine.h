// One line of a list's text, known to hold an item: what a replica keeps of an item until somebody
// asks for its strings.
//
// An item has exactly one text, so lines are equal exactly when their items are.
//
// Threads: one. Lifetime: looks at bytes that it does not own, and that outlive it.

#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace applist {

class ItemLine {
public:
    // Takes `text`, a line without its terminator, for an item; nothing when it is none.
    static std::optional<ItemLine> Of(std::string_view text);

    std::string VisibleName() const;
    std::string UniqueId() const;

    // The bytes that equal lines share.
    std::string_view Text() const { return m_text; }

    // Found once: a line is looked for when it comes, and looked at when it goes.
    std::size_t Hash() const {
        if (m_hash == 0) m_hash = std::hash<std::string_view>()(m_text);
        return m_hash;
    }

    bool HasSameId(const ItemLine& other) const { return IdText() == other.IdText(); }

    friend bool operator==(const ItemLine& left, const ItemLine& right) {
        return left.m_text == right.m_text;
    }

private:
    ItemLine(std::string_view text, std::size_t separator) : m_text(text), m_separator(separator) {}

    std::string_view NameText() const { return m_text.substr(0, m_separator); }
    std::string_view IdText() const { return m_text.substr(m_separator + 1); }

    std::string_view m_text;
    std::size_t m_separator;
    mutable std::size_t m_hash = 0;  // 0: not yet
};

// Takes `text` apart to its end. Half an item, anything that is no item, and more items than
// `limit` mean that nothing of it is to be trusted: then nothing is returned.
std::optional<std::vector<ItemLine>> ReadLines(const std::vector<char>& text, std::size_t limit);

}  // namespace applist
