// SPDX-License-Identifier: MIT

// Makes a text of pieces: Joined({"the memfd holds ", Decimal(size), " bytes"}).
//
// The compiler makes a hundred bytes and more of machine code of every `+` between strings, and of
// every std::to_string. Texts for people are many and seldom made, so they are joined in one place.
//
// Threads: any.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

namespace applist {

// A number in decimal, as a piece of a text. Takes no memory but its own.
class Decimal {
public:
    explicit Decimal(std::uint64_t number);

    // Of this number's own digits, so use it only as long as the number is there.
    operator std::string_view() const { return {m_digits.data() + m_first, kMost - m_first}; }

private:
    static constexpr std::size_t kMost = std::numeric_limits<std::uint64_t>::digits10 + 1;

    std::array<char, kMost> m_digits;  // in use from m_first on
    std::size_t m_first = kMost;
};

// Returns `pieces` in a row. Temporaries among them live as long as the call. Throws
// std::bad_alloc.
std::string Joined(std::initializer_list<std::string_view> pieces);

}  // namespace applist
