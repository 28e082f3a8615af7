// SPDX-License-Identifier: MIT

#include "sim/History.h"

#include <algorithm>

namespace sim {

void History::Write(Usec now, const char* format, std::va_list arguments) {
    if (m_file == nullptr) return;
    char line[512];
    const int room = sizeof(line) - 1;  // for the line feed
    int length = std::snprintf(line, sizeof(line), "%llu ", static_cast<unsigned long long>(now));
    length +=
        std::vsnprintf(line + length, static_cast<std::size_t>(room - length), format, arguments);
    length = std::min(length, room - 1);
    line[length++] = '\n';
    for (int at = 0; at < length; ++at) {
        m_hash = (m_hash ^ static_cast<unsigned char>(line[at])) * 1099511628211u;
    }
    ++m_lines;
    std::fwrite(line, 1, static_cast<std::size_t>(length), m_file);
}

}  // namespace sim
