// SPDX-License-Identifier: MIT

#include "partner/Pairing.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <utility>

namespace applist {

namespace {

// Finds the texts of a list by their hashes: each once, and of equal ones the first one first.
// Taking a text out of its chain keeps even a list of equal ones fast.
class TextsByHash {
public:
    explicit TextsByHash(const Texts& texts) : m_texts(texts), m_entries(texts.count) {
        while (m_first.size() < texts.count) m_first.resize(2 * m_first.size());
        std::fill(m_first.begin(), m_first.end(), kNone);
        // Backwards, so that the first of equal texts comes to stand at the front of its chain.
        for (std::size_t at = texts.count; at-- > 0;) {
            const std::size_t hash = HashOf(texts.at(at));
            std::uint32_t& first = First(hash);
            m_entries[at] = {hash, first};
            first = static_cast<std::uint32_t>(at);
        }
    }

    // Returns the place of a text equal to this one and takes it out of the table; kNone when there
    // is none left; nothing when the chain is too long to look through.
    std::optional<std::uint32_t> Take(std::string_view text) {
        const std::size_t hash = HashOf(text);
        int steps = 0;
        for (std::uint32_t* at = &First(hash); *at != kNone; at = &m_entries[*at].next) {
            if (m_entries[*at].hash == hash && m_texts.at(*at) == text) {
                return std::exchange(*at, m_entries[*at].next);
            }
            if (++steps == kMaxSteps) return std::nullopt;
        }
        return kNone;
    }

private:
    // By chance alone, different texts do not make so long a chain in a list of any size.
    static constexpr int kMaxSteps = 16;

    static std::size_t HashOf(std::string_view text) { return std::hash<std::string_view>()(text); }

    struct Entry {
        std::size_t hash;
        std::uint32_t next;  // in the same chain
    };

    std::uint32_t& First(std::size_t hash) { return m_first[hash & (m_first.size() - 1)]; }

    const Texts& m_texts;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_first = std::vector<std::uint32_t>(1);
};

// Returns nothing when a chain is too long; see Pair.
std::optional<Places> PairByHash(const Texts& before, const Texts& now) {
    TextsByHash table(before);
    Places places(now.count);
    for (std::size_t at = 0; at < now.count; ++at) {
        const std::optional<std::uint32_t> place = table.Take(now.at(at));
        if (!place) return std::nullopt;
        places[at] = *place;
    }
    return places;
}

// The places of a list, ordered by their texts; places of equal texts stay in order.
Places Sorted(const Texts& texts) {
    Places places(texts.count);
    std::iota(places.begin(), places.end(), 0u);
    std::sort(places.begin(), places.end(), [&](std::uint32_t left, std::uint32_t right) {
        const int order = texts.at(left).compare(texts.at(right));
        return order != 0 ? order < 0 : left < right;
    });
    return places;
}

// Finds the same as PairByHash. Slower for most lists, but no list makes it much slower.
Places PairByOrder(const Texts& before, const Texts& now) {
    const Places older = Sorted(before);
    Places places(now.count, kNone);
    auto next = older.begin();
    for (const std::uint32_t at : Sorted(now)) {
        while (next != older.end() && before.at(*next) < now.at(at)) ++next;
        if (next == older.end()) break;
        if (before.at(*next) == now.at(at)) places[at] = *next++;
    }
    return places;
}

}  // namespace

Places Pair(const Texts& before, const Texts& now) {
    if (before.count == 0 || now.count == 0) return Places(now.count, kNone);
    std::optional<Places> places = PairByHash(before, now);
    return places ? std::move(*places) : PairByOrder(before, now);
}

}  // namespace applist
