// SPDX-License-Identifier: MIT

#include "common/Joined.h"

namespace applist {

Decimal::Decimal(std::uint64_t number) {
    do {
        m_digits[--m_first] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
}

std::string Joined(std::initializer_list<std::string_view> pieces) {
    std::size_t size = 0;
    for (const std::string_view piece : pieces) size += piece.size();
    std::string text;
    text.reserve(size);
    for (const std::string_view piece : pieces) text.append(piece);
    return text;
}

}  // namespace applist
