// SPDX-License-Identifier: MIT

// What happens in a round, line by line: written to a file on request, and summed up in a hash. Two
// runs with the same seed must give the same bytes. Without a file only faults are counted: putting
// the lines together takes a fifth of a round's instructions.

#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#include "sim/Time.h"

namespace sim {

class History {
public:
    // `file` may be null.
    explicit History(std::FILE* file) : m_file(file) {}

    void Write(Usec now, const char* format, std::va_list arguments);

    void CountFault(const std::string& name) { ++m_faults[name]; }
    const std::map<std::string, std::uint64_t>& Faults() const { return m_faults; }

    std::uint64_t Hash() const { return m_hash; }
    std::uint64_t Lines() const { return m_lines; }

private:
    std::FILE* const m_file;
    std::map<std::string, std::uint64_t> m_faults;
    std::uint64_t m_hash = 14695981039346656037u;  // FNV-1a
    std::uint64_t m_lines = 0;
};

}  // namespace sim
