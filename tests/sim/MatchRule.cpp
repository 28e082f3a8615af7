// SPDX-License-Identifier: MIT

#include "sim/MatchRule.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace sim {

namespace {

std::string NameOf(MessageType type) {
    switch (type) {
        case MessageType::Call: return "method_call";
        case MessageType::Return: return "method_return";
        case MessageType::Error: return "error";
        case MessageType::Signal: return "signal";
    }
    return std::string();
}

// Returns what `message` has under `key`, the sender excepted.
std::string ValueOf(const WireMessage& message, const std::string& key) {
    if (key == "type") return NameOf(message.type);
    if (key == "path") return message.path;
    if (key == "interface") return message.interface;
    if (key == "member") return message.member;
    if (key.compare(0, 3, "arg") == 0) {
        const std::vector<std::string> strings = StringsOf(message);
        const auto at = static_cast<std::size_t>(std::atoi(key.c_str() + 3));
        return at < strings.size() ? strings[at] : std::string("\0no such argument", 17);
    }
    std::fprintf(stderr, "sim: the bus does not know the condition \"%s\"\n", key.c_str());
    std::abort();
}

}  // namespace

MatchRule::MatchRule(const std::string& text) : m_text(text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t equals = text.find("='", at);
        const std::size_t end = text.find('\'', equals + 2);
        if (equals == std::string::npos || end == std::string::npos) return;
        m_conditions[text.substr(at, equals - at)] = text.substr(equals + 2, end - equals - 2);
        at = end + 2;  // past the quote and the comma
    }
}

bool MatchRule::Matches(const WireMessage& message,
                        const std::function<std::string(const std::string&)>& ownerOf) const {
    for (const auto& [key, value] : m_conditions) {
        if (key == "sender") {
            if (message.sender != value && message.sender != ownerOf(value)) return false;
        } else if (ValueOf(message, key) != value) {
            return false;
        }
    }
    return true;
}

}  // namespace sim
