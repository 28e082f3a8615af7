// SPDX-License-Identifier: MIT

#include "apps/applistctl/Differences.h"

#include <algorithm>
#include <deque>
#include <map>

namespace applist::ctl {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// Which old item each new one was, if it was there before.
class Pairing {
public:
    Pairing(const std::vector<Entry>& before, const std::vector<Entry>& now)
        : m_before(before), m_now(now), m_isKept(before.size(), false), m_was(now.size(), kNone) {
        // Equal items first: when the first of two items with the same id goes, the other one stays
        // and was not renamed to it.
        PairBy([](const Entry& entry) { return entry; });
        PairBy([](const Entry& entry) { return entry.id; });
    }

    bool IsKept(std::size_t oldPlace) const { return m_isKept[oldPlace]; }
    std::size_t Was(std::size_t newPlace) const { return m_was[newPlace]; }

    // Items that came or went do not count: they are reported as such, and move the others anyway.
    bool KeepsOrder() const {
        std::vector<std::size_t> kept = m_was;
        kept.erase(std::remove(kept.begin(), kept.end(), kNone), kept.end());
        return std::is_sorted(kept.begin(), kept.end());
    }

private:
    template <class KeyOf>
    void PairBy(KeyOf keyOf) {
        std::map<decltype(keyOf(Entry())), std::deque<std::size_t>> places;
        for (std::size_t at = 0; at < m_before.size(); ++at) {
            if (!m_isKept[at]) places[keyOf(m_before[at])].push_back(at);
        }
        for (std::size_t at = 0; at < m_now.size(); ++at) {
            if (m_was[at] != kNone) continue;
            const auto found = places.find(keyOf(m_now[at]));
            if (found == places.end() || found->second.empty()) continue;
            m_was[at] = found->second.front();
            m_isKept[m_was[at]] = true;
            found->second.pop_front();
        }
    }

    const std::vector<Entry>& m_before;
    const std::vector<Entry>& m_now;
    std::vector<bool> m_isKept;
    std::vector<std::size_t> m_was;
};

}  // namespace

std::vector<Event> Differences(const ListState& before, const ListState& now) {
    const Pairing pairing(before.items, now.items);
    std::vector<Event> events;
    for (std::size_t at = 0; at < before.items.size(); ++at) {
        if (!pairing.IsKept(at)) events.push_back({"removed", before.items[at]});
    }
    for (std::size_t at = 0; at < now.items.size(); ++at) {
        const Entry& item = now.items[at];
        const std::size_t was = pairing.Was(at);
        if (was == kNone) {
            events.push_back({"added", item});
        } else if (before.items[was].name != item.name) {
            events.push_back({"renamed", item, before.items[was]});
        }
    }
    if (!pairing.KeepsOrder()) events.push_back({"reordered"});
    // By id: when the selected item is renamed, it is still the one that is selected.
    if (before.selection.id != now.selection.id) {
        events.push_back({"selected", now.selection});
    }
    return events;
}

}  // namespace applist::ctl
