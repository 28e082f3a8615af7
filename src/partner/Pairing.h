// SPDX-License-Identifier: MIT

// Which texts of one list are in another one.
//
// A hostile service can choose texts whose hashes are equal. It must not be able to decide how long
// its list keeps the partner busy: whatever the texts are, n of them take no more than n log n
// time.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace applist {

// For each text of a list, the place of an equal one in an older list, or kNone.
using Places = std::vector<std::uint32_t>;
constexpr std::uint32_t kNone = UINT32_MAX;

// Finds the texts of a list by their hashes: each once, and of equal ones the first one first.
// Taking a text out of its chain keeps even a list of equal ones fast.
template <typename TextAt>
class TextsByHash {
public:
    TextsByHash(std::size_t count, TextAt textAt) : m_textAt(textAt), m_entries(count) {
        while (m_first.size() < count) m_first.resize(2 * m_first.size());
        std::fill(m_first.begin(), m_first.end(), kNone);
        // Backwards, so that the first of equal texts comes to stand at the front of its chain.
        for (std::size_t at = count; at-- > 0;) {
            const std::size_t hash = HashOf(textAt(at));
            std::uint32_t& first = First(hash);
            m_entries[at] = {hash, first};
            first = static_cast<std::uint32_t>(at);
        }
    }

    // Returns the place of a text equal to this one and takes it out of the table; kNone when there
    // is none left; nothing when the chain is too long to look through.
    std::optional<std::uint32_t> Take(std::string_view text) {
        if (m_entries.empty()) return kNone;
        const std::size_t hash = HashOf(text);
        int steps = 0;
        for (std::uint32_t* at = &First(hash); *at != kNone; at = &m_entries[*at].next) {
            if (m_entries[*at].hash == hash && m_textAt(*at) == text) {
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

    const TextAt m_textAt;
    std::vector<Entry> m_entries;
    std::vector<std::uint32_t> m_first = std::vector<std::uint32_t>(1);
};

// Returns nothing when a chain is too long; see Pair.
template <typename OldText, typename NewText>
std::optional<Places> PairByHash(std::size_t oldCount, OldText oldText, std::size_t newCount,
                                 NewText newText) {
    TextsByHash<OldText> table(oldCount, oldText);
    Places places(newCount);
    for (std::size_t at = 0; at < newCount; ++at) {
        const std::optional<std::uint32_t> place = table.Take(newText(at));
        if (!place) return std::nullopt;
        places[at] = *place;
    }
    return places;
}

// The places of a list, ordered by their texts; places of equal texts stay in order.
template <typename TextAt>
Places SortedByText(std::size_t count, TextAt textAt) {
    Places places(count);
    std::iota(places.begin(), places.end(), 0u);
    std::sort(places.begin(), places.end(), [&](std::uint32_t left, std::uint32_t right) {
        const int order = textAt(left).compare(textAt(right));
        return order != 0 ? order < 0 : left < right;
    });
    return places;
}

// Finds the same as PairByHash. Slower for most lists, but no list makes it much slower.
template <typename OldText, typename NewText>
Places PairByOrder(std::size_t oldCount, OldText oldText, std::size_t newCount, NewText newText) {
    const Places before = SortedByText(oldCount, oldText);
    const Places now = SortedByText(newCount, newText);
    Places places(newCount, kNone);
    auto next = before.begin();
    for (const std::uint32_t at : now) {
        while (next != before.end() && oldText(*next) < newText(at)) ++next;
        if (next == before.end()) break;
        if (oldText(*next) == newText(at)) places[at] = *next++;
    }
    return places;
}

// For each of `newCount` texts, the place among `oldCount` older ones of one that is equal. Each
// older one is found once, and of equal ones the first is the first one's. OldText and NewText
// return the std::string_view at a place. Throws std::bad_alloc.
template <typename OldText, typename NewText>
Places Pair(std::size_t oldCount, OldText oldText, std::size_t newCount, NewText newText) {
    std::optional<Places> places = PairByHash(oldCount, oldText, newCount, newText);
    return places ? std::move(*places) : PairByOrder(oldCount, oldText, newCount, newText);
}

}  // namespace applist
