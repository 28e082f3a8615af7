// SPDX-License-Identifier: MIT

// The bytes that a fuzzer made up, taken from the front piece by piece. Once they are used up every
// piece is empty, and every number is 0.
//
// Parts end with a control character that people can put into a file of the corpus. What a target
// takes its parts for is said at its head.
//
// Lifetime: a view of bytes that somebody else owns.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace applist::fuzz {

constexpr char kPartEnd = '\x1e';

class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : m_left(reinterpret_cast<const char*>(data), size) {}
    explicit Input(std::string_view bytes) : m_left(bytes) {}

    bool IsEmpty() const { return m_left.empty(); }

    unsigned Byte() {
        if (m_left.empty()) return 0;
        const auto byte = static_cast<unsigned char>(m_left.front());
        m_left.remove_prefix(1);
        return byte;
    }

    // Everything before the next `end`, which is removed too; all that is left when there is none.
    std::string_view Part(char end = kPartEnd) {
        const std::size_t size = std::min(m_left.find(end), m_left.size());
        const std::string_view part = m_left.substr(0, size);
        m_left.remove_prefix(std::min(size + 1, m_left.size()));
        return part;
    }

    // A part as a C string holds it: up to its first NUL.
    std::string CString() {
        const std::string_view part = Part();
        return std::string(part.substr(0, part.find('\0')));
    }

    std::string_view Rest() { return std::exchange(m_left, std::string_view()); }

private:
    std::string_view m_left;
};

}  // namespace applist::fuzz
