// SPDX-License-Identifier: MIT

#include "partner/RowChanges.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <optional>
#include <utility>

#include "partner/RowMoves.h"

namespace applist {

namespace {

using Kind = RowChange::Kind;
using Lines = std::vector<ItemText>;

Middle MiddleBetween(const Lines& before, const Lines& now) {
    return MiddleOf(
        before.size(), [&before](std::size_t at) -> const ItemText& { return before[at]; },
        now.size(), [&now](std::size_t at) -> const ItemText& { return now[at]; });
}

// A row that moved across many others is what people do most, and no reason to look for each of
// them: they are the same, one place further. Nothing if it is something else.
std::optional<Places> PlacesOfOneMove(const Middle& middle) {
    const std::size_t count = middle.now.count;
    if (count < 2 || middle.before.count != count) return std::nullopt;
    const auto isShifted = [count](const ItemRange& left, const ItemRange& right) {
        for (std::size_t at = 0; at + 1 < count; ++at) {
            if (!(left.at(at + 1) == right.at(at))) return false;
        }
        return left.at(0) == right.at(count - 1);
    };
    const bool isDown = isShifted(middle.before, middle.now);
    if (!isDown && !isShifted(middle.now, middle.before)) return std::nullopt;
    Places places(count);
    std::iota(places.begin(), places.end(), 0U);
    std::rotate(places.begin(), isDown ? places.begin() + 1 : places.end() - 1, places.end());
    return places;
}

RowChange OneMove(const RowOrigins& origins) {
    const std::size_t first = origins.begin;
    const std::size_t last = first + origins.was.size() - 1;
    const bool isDown = origins.was.back() == 0;
    return {Kind::Moved, isDown ? first : last, 1, isDown ? last : first};
}

// The new rows that were there before, each as its number among the old ones that are kept.
std::vector<std::uint32_t> KeptRows(const RowOrigins& origins) {
    std::vector<std::uint32_t> numbers(origins.isKept.size());
    std::uint32_t kept = 0;
    for (std::size_t at = 0; at < numbers.size(); ++at) {
        numbers[at] = kept;
        if (origins.isKept[at]) ++kept;
    }
    std::vector<std::uint32_t> rows;
    rows.reserve(kept);
    for (const std::uint32_t place : origins.was) {
        if (place != kNone) rows.push_back(numbers[place]);
    }
    return rows;
}

void AppendRemoved(const RowOrigins& origins, std::vector<RowChange>& changes) {
    for (std::size_t end = origins.isKept.size(); end > 0; --end) {
        if (origins.isKept[end - 1]) continue;
        std::size_t begin = end - 1;
        while (begin > 0 && !origins.isKept[begin - 1]) --begin;
        changes.push_back({Kind::Removed, origins.begin + begin, end - begin});
        if (begin == 0) return;
        end = begin;
    }
}

// Rows next to each other of which the same becomes one change.
void AppendRow(Kind kind, std::size_t row, std::vector<RowChange>& changes) {
    if (!changes.empty() && changes.back().kind == kind &&
        changes.back().row + changes.back().count == row) {
        ++changes.back().count;
    } else {
        changes.push_back({kind, row, 1});
    }
}

}  // namespace

RowOrigins RowOriginsIn(const Middle& middle) {
    std::optional<Places> moved = PlacesOfOneMove(middle);
    if (!moved) return {PairById(middle.before, middle.now), middle.begin};
    const std::size_t count = moved->size();
    return {{std::move(*moved), Flags(count, false), Flags(count, true)}, middle.begin, true};
}

RowOrigins RowOriginsBetween(const Lines& before, const Lines& now) {
    return RowOriginsIn(MiddleBetween(before, now));
}

std::vector<RowChange> RowChangesOf(const RowOrigins& origins) {
    if (origins.isOneMove) return {OneMove(origins)};
    std::vector<RowChange> changes;
    AppendRemoved(origins, changes);
    AppendMoves(KeptRows(origins), origins.begin, changes);
    for (std::size_t at = 0; at < origins.was.size(); ++at) {
        if (origins.was[at] == kNone) AppendRow(Kind::Inserted, origins.begin + at, changes);
        if (origins.isRenamed[at]) AppendRow(Kind::Renamed, origins.begin + at, changes);
    }
    return changes;
}

}  // namespace applist
