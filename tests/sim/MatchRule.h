// SPDX-License-Identifier: MIT

// A rule by which a client of the bus asks for messages that are not sent to it.

#pragma once

#include <functional>
#include <map>
#include <string>

#include "sim/Wire.h"

namespace sim {

class MatchRule {
public:
    explicit MatchRule(const std::string& text);

    const std::string& Text() const { return m_text; }

    // `ownerOf` tells who owns a name on the bus.
    bool Matches(const WireMessage& message,
                 const std::function<std::string(const std::string&)>& ownerOf) const;

private:
    std::string m_text;
    std::map<std::string, std::string> m_conditions;
};

}  // namespace sim
