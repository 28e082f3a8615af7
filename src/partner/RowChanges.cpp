// SPDX-License-Identifier: MIT

#include "partner/RowChanges.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "partner/RowMoves.h"

namespace applist {

namespace {

using Kind = RowChange::Kind;
using Lines = std::vector<ItemText>;

// The rows between those with which both lists begin and those with which both end.
class Middle {
public:
    Middle(const Lines& before, const Lines& now) : m_before(before), m_now(now) {
        const std::size_t shorter = std::min(before.size(), now.size());
        while (m_begin < shorter && before[m_begin] == now[m_begin]) ++m_begin;
        std::size_t end = 0;
        while (m_begin + end < shorter &&
               before[before.size() - 1 - end] == now[now.size() - 1 - end]) {
            ++end;
        }
        m_beforeCount = before.size() - m_begin - end;
        m_nowCount = now.size() - m_begin - end;
    }

    std::size_t Begin() const { return m_begin; }
    std::size_t BeforeCount() const { return m_beforeCount; }
    std::size_t NowCount() const { return m_nowCount; }
    const ItemText& Before(std::size_t at) const { return m_before[m_begin + at]; }
    const ItemText& Now(std::size_t at) const { return m_now[m_begin + at]; }

private:
    const Lines& m_before;
    const Lines& m_now;
    std::size_t m_begin = 0;
    std::size_t m_beforeCount;
    std::size_t m_nowCount;
};

// A row that moved across many others is what people do most, and no reason to look at each of them
// twice: those are the same, one place further. Appends the move and returns true if that is all.
bool AppendOneMove(const Middle& middle, std::size_t first, std::vector<RowChange>& changes) {
    const std::size_t count = middle.NowCount();
    if (count < 2 || middle.BeforeCount() != count) return false;
    const auto isShifted = [&](const auto& left, const auto& right) {
        for (std::size_t at = 0; at + 1 < count; ++at) {
            if (!(left(at + 1) == right(at))) return false;
        }
        return left(0) == right(count - 1);
    };
    const auto before = [&](std::size_t at) -> const ItemText& { return middle.Before(at); };
    const auto now = [&](std::size_t at) -> const ItemText& { return middle.Now(at); };
    const bool isDown = isShifted(before, now);
    if (!isDown && !isShifted(now, before)) return false;
    const std::size_t last = first + count - 1;
    changes.push_back({Kind::Moved, isDown ? first : last, 1, isDown ? last : first});
    return true;
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

void AppendRemoved(const RowOrigins& origins, std::size_t first, std::vector<RowChange>& changes) {
    for (std::size_t end = origins.isKept.size(); end > 0; --end) {
        if (origins.isKept[end - 1]) continue;
        std::size_t begin = end - 1;
        while (begin > 0 && !origins.isKept[begin - 1]) --begin;
        changes.push_back({Kind::Removed, first + begin, end - begin});
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

RowOrigins OriginsIn(const Middle& middle) {
    const auto before = [&](std::size_t at) -> const ItemText& { return middle.Before(at); };
    const auto now = [&](std::size_t at) -> const ItemText& { return middle.Now(at); };
    return {PairById({middle.BeforeCount(), before}, {middle.NowCount(), now}), middle.Begin()};
}

}  // namespace

RowOrigins RowOriginsBetween(const Lines& before, const Lines& now) {
    return OriginsIn(Middle(before, now));
}

std::vector<RowChange> RowChangesBetween(const Lines& before, const Lines& now, std::size_t first) {
    const Middle middle(before, now);
    const std::size_t begin = first + middle.Begin();
    std::vector<RowChange> changes;
    if (AppendOneMove(middle, begin, changes)) return changes;
    const RowOrigins origins = OriginsIn(middle);
    AppendRemoved(origins, begin, changes);
    AppendMoves(KeptRows(origins), begin, changes);
    for (std::size_t at = 0; at < origins.was.size(); ++at) {
        if (origins.was[at] == kNone) AppendRow(Kind::Inserted, begin + at, changes);
        if (origins.isRenamed[at]) AppendRow(Kind::Renamed, begin + at, changes);
    }
    return changes;
}

}  // namespace applist
