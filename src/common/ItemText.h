// The text in which an item crosses the channel: one line of visible name, TAB, unique id and LF.
// Inside the two strings a backslash is written \\, TAB \t and LF \n; every other byte stands as it
// is, NUL and bytes above 0x7F included. Items follow each other with nothing in between. An item
// has exactly one text, so texts are equal exactly when their items are.
//
// Everything here takes time linear in the text.
//
// Lifetime: an ItemText looks at bytes that it does not own, and that outlive it.

#pragma once

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace applist {

class ItemText {
public:
    static constexpr char kSeparator = '\t';
    static constexpr char kTerminator = '\n';

    // Takes `line`, without its terminator, for an item; nothing when it is none.
    static std::optional<ItemText> Of(std::string_view line);

    // Takes the first line, its terminator included, off `text`, which holds items one after
    // another. Nothing when that is no item; without a terminator it stays.
    static std::optional<ItemText> Take(std::string_view& text);

    // Why a line is no item: the first of these that holds.
    enum class Fault { kNone, kNoSeparator, kSecondSeparator, kUnknownEscape };
    static Fault FaultOf(std::string_view line);

    // Returns where in `line` a backslash stands that begins no escape; npos when none does.
    static std::size_t FindUnknownEscape(std::string_view line);

    std::string VisibleName() const;
    std::string UniqueId() const;

    // The line, and its two strings with their escapes.
    std::string_view Line() const { return m_line; }
    std::string_view NameText() const { return m_line.substr(0, m_separator); }
    std::string_view IdText() const { return m_line.substr(m_separator + 1); }

    friend bool operator==(const ItemText& left, const ItemText& right) {
        return left.m_line == right.m_line;
    }

    // Few items have one.
    bool HasEscape() const { return m_hasEscape; }

    // Undoes the escapes of a NameText or an IdText in place.
    static void Unescape(std::string& text);

    // How many bytes the text of an item has, its terminator included.
    static std::size_t SizeOf(std::string_view visibleName, std::string_view uniqueId);

    // Writes the text of an item without memory of its own; false as soon as `to` takes no more.
    static bool Write(std::string_view visibleName, std::string_view uniqueId, std::streambuf& to);

private:
    explicit ItemText(std::string_view line);

    Fault FindFault() const;
    std::string StringOf(std::string_view text) const;
    std::string_view m_line;
    std::size_t m_separator;
    bool m_hasEscape;
};

// Makes the text of items, one after another, in one buffer. When memory runs out, std::bad_alloc
// is thrown and what was there before stays: there is never half an item.
class ItemTextWriter {
public:
    // Makes room for `size` bytes. More is made as it is needed, at the price of copies.
    explicit ItemTextWriter(std::size_t size) : m_buffer(size) {}

    void Append(std::string_view visibleName, std::string_view uniqueId);

    // Hands over the text; the room that was made and not used is its capacity.
    std::vector<char> Take() &&;

private:
    char* MakeRoom(std::size_t size);

    std::vector<char> m_buffer;  // its size is the room: filled once, not for each item
    std::size_t m_used = 0;
};

}  // namespace applist
