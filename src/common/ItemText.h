// SPDX-License-Identifier: MIT

// The text in which an item crosses the channel: one line of visible name, TAB, unique id and LF.
// Inside the two strings a backslash is written \\, TAB \t and LF \n; every other byte stands for
// itself, NUL and bytes above 0x7F included. Items follow each other with nothing in between. An
// item has exactly one text, so two texts are equal exactly when their items are.
//
// Everything here takes time linear in the length of the text.
//
// Lifetime: an ItemText is a view of bytes that somebody else owns and that must outlive it.

#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace applist {

// One item's text that has been found valid.
class ItemText {
public:
    static constexpr char kSeparator = '\t';
    static constexpr char kTerminator = '\n';

    // Returns the item in `line`, which comes without its terminator; nothing when it is not one.
    static std::optional<ItemText> Of(std::string_view line);

    // Removes the first line and its terminator from `text`, which holds items one after another,
    // and returns the item in it; nothing when it is not one. Without any terminator in `text`
    // nothing is removed, and nothing is returned.
    static std::optional<ItemText> Take(std::string_view& text);

    // Why a line is not an item: the first of these that applies.
    enum class Fault { kNone, kNoSeparator, kSecondSeparator, kUnknownEscape };
    static Fault FaultOf(std::string_view line);

    // Returns the position of the first backslash in `line` that does not begin an escape; npos
    // when there is none.
    static std::size_t FindUnknownEscape(std::string_view line);

    // The item's two strings, without escapes.
    std::string VisibleName() const;
    std::string UniqueId() const;

    // Returns how long the two strings are together, without making them.
    std::size_t StringsSize() const;

    // The line, without its terminator, and its two halves as they were written.
    std::string_view Line() const { return m_line; }
    std::string_view NameText() const { return m_line.substr(0, m_separator); }
    std::string_view IdText() const { return m_line.substr(m_separator + 1); }

    // True exactly when the items are equal, since each has only one text.
    friend bool operator==(const ItemText& left, const ItemText& right) {
        return left.m_line == right.m_line;
    }

    // False for most items: their halves are their strings.
    bool HasEscape() const { return m_hasEscape; }

    // Replaces the escapes in `text` by what they stand for, in place.
    // REQUIRES: it is a copy of a NameText or an IdText.
    static void Unescape(std::string& text);

    // Returns the length in bytes of an item's text, its terminator included.
    static std::size_t SizeOf(std::string_view visibleName, std::string_view uniqueId);

    // Writes an item's text without allocating memory. Returns false as soon as `to` takes no more.
    static bool Write(std::string_view visibleName, std::string_view uniqueId, std::streambuf& to);

private:
    explicit ItemText(std::string_view line);

    Fault FindFault() const;
    std::string StringOf(std::string_view text) const;

    std::string_view m_line;
    std::size_t m_separator;
    bool m_hasEscape;
};

}  // namespace applist
