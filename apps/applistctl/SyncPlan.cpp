// SPDX-License-Identifier: MIT

#include "apps/applistctl/SyncPlan.h"

#include <deque>
#include <map>
#include <optional>
#include <utility>

namespace applist::ctl {

SyncPlan::SyncPlan(std::vector<Entry> wanted)
    : m_wanted(std::move(wanted)), m_sorted(m_wanted.begin(), m_wanted.end()) {}

// What becomes of a wanted item: it is in the list, or has to be added, or that will be known once
// it has turned out whether an item of its id can be removed.
enum class SyncPlan::Fate { There, Missing, Undecided };

// Which items of the list stand for which of the wanted ones.
struct SyncPlan::Match {
    std::vector<Fate> fates;                         // of the wanted items
    std::vector<std::optional<std::size_t>> places;  // of the wanted items, in the list
    std::vector<bool> isSurplus;                     // by place in the list
};

SyncPlan::Match SyncPlan::MatchOf(const std::vector<Entry>& now) const {
    Match match = EqualsOf(now);
    AddStandIns(now, match);
    return match;
}

SyncPlan::Match SyncPlan::EqualsOf(const std::vector<Entry>& now) const {
    Match match = {std::vector<Fate>(m_wanted.size(), Fate::Missing),
                   std::vector<std::optional<std::size_t>>(m_wanted.size()),
                   std::vector<bool>(now.size(), true)};
    std::map<Entry, std::deque<std::size_t>> left;
    for (std::size_t at = 0; at < now.size(); ++at) left[now[at]].push_back(at);
    for (std::size_t at = 0; at < m_wanted.size(); ++at) {
        const auto found = left.find(m_wanted[at]);
        if (found == left.end() || found->second.empty()) continue;
        match.fates[at] = Fate::There;
        match.places[at] = found->second.front();
        match.isSurplus[found->second.front()] = false;
        found->second.pop_front();
    }
    return match;
}

// An item that the service keeps stands for one of the same id, whatever that is called: a second
// one of its id is not wanted.
void SyncPlan::AddStandIns(const std::vector<Entry>& now, Match& match) const {
    std::map<std::string, std::size_t> standIns;
    for (std::size_t at = 0; at < now.size(); ++at) {
        if (match.isSurplus[at]) ++standIns[now[at].id];
    }
    for (std::size_t at = 0; at < m_wanted.size(); ++at) {
        const auto found = standIns.find(m_wanted[at].id);
        if (match.fates[at] != Fate::Missing || found == standIns.end()) continue;
        match.fates[at] = IsKept(m_wanted[at]) ? Fate::There : Fate::Undecided;
        if (--found->second == 0) standIns.erase(found);
    }
}

// An addition comes to stand behind everything. So from the first missing item on, whatever is to
// follow it has to be removed, and added again behind it. An item that is there, but too early,
// is a missing one once it is removed; but it may be one that stays where it is. So what follows it
// is left alone until that is known.
std::vector<Entry> SyncPlan::ToRemove(const std::vector<Entry>& now) const {
    const Match match = MatchOf(now);
    std::vector<Entry> out;
    for (std::size_t at = 0; at < now.size(); ++at) {
        if (match.isSurplus[at] && !IsKept(now[at])) out.push_back(now[at]);
    }
    bool isBehindMissing = false;
    std::optional<std::size_t> last;
    for (std::size_t at = 0; at < m_wanted.size(); ++at) {
        isBehindMissing = isBehindMissing || match.fates[at] == Fate::Missing;
        const std::optional<std::size_t> place = match.places[at];
        if (!place || IsKept(m_wanted[at])) continue;
        const bool isTooEarly = last && *place < *last;
        if (isBehindMissing || isTooEarly) {
            out.push_back(m_wanted[at]);
        } else {
            last = place;
        }
    }
    return out;
}

std::vector<Entry> SyncPlan::ToAdd(const std::vector<Entry>& now) const {
    const Match match = MatchOf(now);
    std::vector<Entry> missing;
    for (std::size_t at = 0; at < m_wanted.size(); ++at) {
        if (match.fates[at] != Fate::There) missing.push_back(m_wanted[at]);
    }
    return missing;
}

SyncPlan::Surplus SyncPlan::SurplusOf(const std::vector<Entry>& now) const {
    const Match match = MatchOf(now);
    Surplus surplus;
    for (std::size_t at = 0; at < now.size(); ++at) {
        if (match.isSurplus[at]) ++(IsKept(now[at]) ? surplus.kept : surplus.others);
    }
    for (std::size_t at = 0; at < m_wanted.size(); ++at) {
        // There, but at no place: an item of another name stands for it.
        if (match.fates[at] == Fate::There && !match.places[at]) ++surplus.renamed;
    }
    surplus.kept -= surplus.renamed;
    return surplus;
}

}  // namespace applist::ctl
