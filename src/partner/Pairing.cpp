// SPDX-License-Identifier: MIT

#include "partner/Pairing.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

namespace applist {

namespace {

// Nobody finds out which of several equal ids is meant by looking further than this: by chance
// alone, different ids do not make so long a chain in a list of any size.
constexpr int kMaxSteps = 16;

// What items are told apart by. A list of equal ids and different names takes no longer when nobody
// asks for the ids.
enum class Key { Line, Id };

// The places of a list, in chains by the hash of the item's key; in each chain in their order.
class Chains {
public:
    Chains(const ItemRange& items, Key key) : m_key(key), m_entries(items.count) {
        while (m_first.size() < items.count) m_first.resize(2 * m_first.size());
        std::fill(m_first.begin(), m_first.end(), kNone);
        // Backwards, so that the first comes to stand at the front of its chain.
        for (std::size_t at = items.count; at-- > 0;) {
            const std::uint32_t hash = HashOf(items.at(at));
            m_entries[at] = {hash, std::exchange(*First(hash), static_cast<std::uint32_t>(at))};
        }
    }

    std::uint32_t HashOf(const ItemText& item) const {
        const std::string_view text = m_key == Key::Line ? item.Line() : item.IdText();
        return static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
    }

    // Each is where the place is written, so that it can be taken out of its chain.
    std::uint32_t* First(std::uint32_t hash) { return &m_first[hash & (m_first.size() - 1)]; }
    std::uint32_t* Next(std::uint32_t place) { return &m_entries[place].next; }
    std::uint32_t Hash(std::uint32_t place) const { return m_entries[place].hash; }

private:
    struct Entry {
        std::uint32_t hash;
        std::uint32_t next;  // place in the same chain
    };

    const Key m_key;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_first = std::vector<std::uint32_t>(1);
};

// An item of which no equal one was left, and the first of its id that was.
struct Candidate {
    std::uint32_t place;
    std::uint32_t sameId;
};

// Finds items by the hashes of their ids. Taking an item out of its chain keeps even a list of
// equal ones fast. Each step returns false when a chain is too long to look through.
class ByHash {
public:
    ByHash(const ItemRange& before, const ItemRange& now, Key key)
        : m_before(before), m_now(now), m_chains(before, key), m_was(now.count, kNone) {}

    // Appends those to `others`, if it is not null, that may have another name.
    bool FindEqual(std::vector<Candidate>* others) {
        for (std::uint32_t at = 0; at < m_now.count; ++at) {
            std::uint32_t sameId = kNone;
            if (!TakeEqual(at, sameId)) return false;
            if (m_was[at] != kNone || sameId == kNone || others == nullptr) continue;
            if (others->empty()) others->reserve(m_now.count - at);
            others->push_back({at, sameId});
        }
        return true;
    }

    // Of `others`, in their order. `isKept` says which of the older ones are found.
    bool FindRenamed(const std::vector<Candidate>& others, PairedById& pairs) {
        for (const Candidate& other : others) {
            std::uint32_t at = other.sameId;
            for (int steps = 0; at != kNone && !IsFree(at, other, pairs); at = *m_chains.Next(at)) {
                if (++steps == kMaxSteps) return false;
            }
            if (at == kNone) continue;
            pairs.was[other.place] = at;
            pairs.isRenamed[other.place] = true;
            pairs.isKept[at] = true;
        }
        return true;
    }

    Places TakePlaces() { return std::move(m_was); }

private:
    bool TakeEqual(std::uint32_t place, std::uint32_t& sameId) {
        const ItemText& item = m_now.at(place);
        const std::uint32_t hash = m_chains.HashOf(item);
        int steps = 0;
        for (std::uint32_t* at = m_chains.First(hash); *at != kNone; at = m_chains.Next(*at)) {
            const bool isSameId =
                m_chains.Hash(*at) == hash && m_before.at(*at).IdText() == item.IdText();
            if (isSameId && m_before.at(*at).NameText() == item.NameText()) {
                m_was[place] = std::exchange(*at, *m_chains.Next(*at));
                return true;
            }
            if (isSameId && sameId == kNone) sameId = *at;
            if (++steps == kMaxSteps) return false;
        }
        return true;
    }

    bool IsFree(std::uint32_t at, const Candidate& other, const PairedById& pairs) const {
        if (pairs.isKept[at]) return false;
        return at == other.sameId || m_before.at(at).IdText() == m_now.at(other.place).IdText();
    }

    const ItemRange& m_before;
    const ItemRange& m_now;
    Chains m_chains;
    Places m_was;
};

// ---- The same for items that somebody has chosen with care --------------------------------------

// The places of a list, ordered by id, then by name; places of equal items stay in order.
Places Sorted(const ItemRange& items) {
    Places places(items.count);
    std::iota(places.begin(), places.end(), 0u);
    std::sort(places.begin(), places.end(), [&](std::uint32_t left, std::uint32_t right) {
        const int id = items.at(left).IdText().compare(items.at(right).IdText());
        if (id != 0) return id < 0;
        const int name = items.at(left).NameText().compare(items.at(right).NameText());
        return name != 0 ? name < 0 : left < right;
    });
    return places;
}

// Slower for most lists, but no list makes it much slower.
class ByOrder {
public:
    ByOrder(const ItemRange& before, const ItemRange& now)
        : m_before(before), m_now(now), m_old(Sorted(before)), m_new(Sorted(now)) {}

    void Find(PairedById& pairs, bool alsoRenamed) {
        std::size_t old = 0;
        for (std::size_t at = 0; at < m_new.size();) {
            const std::string_view id = m_now.at(m_new[at]).IdText();
            while (old < m_old.size() && m_before.at(m_old[old]).IdText() < id) ++old;
            const std::size_t oldEnd = EndOf(m_before, m_old, old, id);
            const std::size_t end = EndOf(m_now, m_new, at, id);
            PairOfOneId({m_old.begin() + Offset(old), m_old.begin() + Offset(oldEnd)},
                        {m_new.begin() + Offset(at), m_new.begin() + Offset(end)}, alsoRenamed,
                        pairs);
            old = oldEnd;
            at = end;
        }
    }

private:
    static std::ptrdiff_t Offset(std::size_t at) { return static_cast<std::ptrdiff_t>(at); }

    static std::size_t EndOf(const ItemRange& items, const Places& places, std::size_t at,
                             std::string_view id) {
        while (at < places.size() && items.at(places[at]).IdText() == id) ++at;
        return at;
    }

    // Both are ordered by name.
    void PairOfOneId(const Places& before, const Places& now, bool alsoRenamed,
                     PairedById& pairs) const {
        auto old = before.begin();
        Places others;
        for (const std::uint32_t at : now) {
            const std::string_view name = m_now.at(at).NameText();
            while (old != before.end() && m_before.at(*old).NameText() < name) ++old;
            if (old != before.end() && m_before.at(*old).NameText() == name) {
                Match(*old++, at, pairs);
            } else {
                others.push_back(at);
            }
        }
        if (alsoRenamed) PairRest(before, std::move(others), pairs);
    }

    static void PairRest(Places before, Places others, PairedById& pairs) {
        std::sort(before.begin(), before.end());
        std::sort(others.begin(), others.end());
        auto old = before.begin();
        for (const std::uint32_t at : others) {
            while (old != before.end() && pairs.isKept[*old]) ++old;
            if (old == before.end()) return;
            Match(*old, at, pairs);
            pairs.isRenamed[at] = true;
        }
    }

    static void Match(std::uint32_t old, std::uint32_t at, PairedById& pairs) {
        pairs.was[at] = old;
        pairs.isKept[old] = true;
    }

    const ItemRange& m_before;
    const ItemRange& m_now;
    const Places m_old;
    const Places m_new;
};

PairedById NonePaired(const ItemRange& before, const ItemRange& now) {
    return {Places(now.count, kNone), Flags(now.count, false), Flags(before.count, false)};
}

PairedById PairByOrder(const ItemRange& before, const ItemRange& now, bool alsoRenamed) {
    PairedById pairs = NonePaired(before, now);
    ByOrder(before, now).Find(pairs, alsoRenamed);
    return pairs;
}

}  // namespace

Places PairEqual(const ItemRange& before, const ItemRange& now) {
    if (before.count == 0 || now.count == 0) return Places(now.count, kNone);
    ByHash byHash(before, now, Key::Line);
    if (byHash.FindEqual(nullptr)) return byHash.TakePlaces();
    return PairByOrder(before, now, /* alsoRenamed */ false).was;
}

PairedById PairById(const ItemRange& before, const ItemRange& now) {
    PairedById pairs = NonePaired(before, now);
    if (before.count == 0 || now.count == 0) return pairs;
    ByHash byHash(before, now, Key::Id);
    std::vector<Candidate> others;
    if (!byHash.FindEqual(&others)) return PairByOrder(before, now, /* alsoRenamed */ true);
    pairs.was = byHash.TakePlaces();
    for (const std::uint32_t place : pairs.was) {
        if (place != kNone) pairs.isKept[place] = true;
    }
    if (!byHash.FindRenamed(others, pairs)) return PairByOrder(before, now, true);
    return pairs;
}

}  // namespace applist
