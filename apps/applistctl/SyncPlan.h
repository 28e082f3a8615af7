// SPDX-License-Identifier: MIT

// Which edits make a list what a file says, as far as a partner may: it can remove what partners
// added, and add at the end. It cannot know what partners added; it finds out by asking for the
// removal of an item that must go, or move, and seeing that it stays.

#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "apps/applistctl/ListState.h"

namespace applist::ctl {

class SyncPlan {
public:
    explicit SyncPlan(std::vector<Entry> wanted);

    // The service keeps every item that still has this id: none of them is a partner's.
    void Keeps(const std::string& id) { m_kept.insert(id); }

    // What to remove from `now` next: items that are not wanted, and items that stand before ones
    // that they are to follow, or that an item is to be added in front of. Ask again with the list
    // after that, until nothing comes back.
    std::vector<Entry> ToRemove(const std::vector<Entry>& now) const;

    // What to add to `now` at the end then, in this order.
    std::vector<Entry> ToAdd(const std::vector<Entry>& now) const;

    // How many items of `now` are not as they are wanted.
    struct Surplus {
        std::size_t kept = 0;     // by the service, and not wanted
        std::size_t renamed = 0;  // kept, and wanted with another name
        std::size_t others = 0;   // that came, or are to be removed yet
    };
    Surplus SurplusOf(const std::vector<Entry>& now) const;

    bool Wants(const Entry& entry) const { return m_sorted.count(entry) > 0; }

private:
    enum class Fate;
    struct Match;

    Match MatchOf(const std::vector<Entry>& now) const;
    Match EqualsOf(const std::vector<Entry>& now) const;
    void AddStandIns(const std::vector<Entry>& now, Match& match) const;
    bool IsKept(const Entry& entry) const { return m_kept.count(entry.id) > 0; }

    const std::vector<Entry> m_wanted;
    const std::set<Entry> m_sorted;
    std::set<std::string> m_kept;
};

}  // namespace applist::ctl
