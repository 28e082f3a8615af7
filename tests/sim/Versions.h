// SPDX-License-Identifier: MIT

// What a list has shown, and when: so that one can say whether what somebody else shows is true,
// late, or was never true at all.

#pragma once

#include <deque>
#include <string>

#include "AppList.h"
#include "sim/Time.h"

namespace sim {

// What a model shows, as text.
struct Content {
    static Content Of(AppListModel& model);

    bool operator==(const Content& other) const {
        return items == other.items && selection == other.selection;
    }
    bool operator!=(const Content& other) const { return !(*this == other); }
    // For people: without the middle of long names.
    std::string Text() const;

    std::string items;
    std::string selection;
};

class Versions {
public:
    void Note(Usec now, Content content);

    // Whether the items were shown at some time since `from`, and the selection at that time or
    // later: it is read after the items.
    bool HasShown(const Content& content, Usec from) const;

private:
    struct Version {
        Usec since;
        Content content;
    };

    std::deque<Version> m_versions;
};

}  // namespace sim
