// SPDX-License-Identifier: MIT

#include "support/RecordingJournal.h"

#include <utility>

namespace recording {

namespace {

void AppendHex(std::string& text, char c) {
    static const char kDigits[] = "0123456789abcdef";
    const unsigned char byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
}

}  // namespace

Journal& Journal::Get() {
    static Journal journal;
    return journal;
}

void Journal::Restart() {
    m_events.clear();
    m_numbers.clear();
    m_newest = 0;
}

void Journal::Add(const std::string& event) {
    m_events += event;
    m_events += '\n';
}

std::string Journal::Take() {
    return std::exchange(m_events, std::string());
}

void Journal::Introduce(const void* item) {
    m_numbers[item] = ++m_newest;
}

std::string Journal::NameOf(const void* item) const {
    const auto known = m_numbers.find(item);
    if (known == m_numbers.end()) return "#unknown";
    return "#" + std::to_string(known->second);
}

std::string Events(std::initializer_list<std::string> events) {
    std::string text;
    for (const std::string& event : events) text += event + "\n";
    return text;
}

// Whole runs are appended at once, and the loop is over plain pointers: this is where a long random
// test spends its time.
std::string OneLine(const std::string& bytes) {
    std::string text;
    const char* run = bytes.data();
    const char* const end = run + bytes.size();
    for (const char* at = run; at != end; ++at) {
        if (*at >= 0x20 && *at <= 0x7E && *at != '\\') continue;
        text.append(run, at);
        text += "\\x";
        AppendHex(text, *at);
        run = at + 1;
    }
    text.append(run, end);
    return text;
}

std::string Hex(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        if (!text.empty()) text += ' ';
        AppendHex(text, c);
    }
    return text;
}

}  // namespace recording
