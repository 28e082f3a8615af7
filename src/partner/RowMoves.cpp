// SPDX-License-Identifier: MIT

#include "partner/RowMoves.h"

#include <algorithm>

#include "partner/Pairing.h"

namespace applist {

namespace {

using Rows = std::vector<std::uint32_t>;

// The longest part of `rows` that rises from each to the next: those need not move. Returns for
// each place whether it is in that part.
Flags Rising(const Rows& rows) {
    Rows last;  // for each length, the place of the lowest row that ends a part of that length
    Rows before(rows.size(), kNone);  // in the same part
    for (std::uint32_t at = 0; at < rows.size(); ++at) {
        const auto length = std::lower_bound(
            last.begin(), last.end(), rows[at],
            [&](std::uint32_t place, std::uint32_t row) { return rows[place] < row; });
        if (length != last.begin()) before[at] = *(length - 1);
        if (length == last.end()) {
            last.push_back(at);
        } else {
            *length = at;
        }
    }
    Flags isInIt(rows.size(), false);
    for (std::uint32_t at = last.empty() ? kNone : last.back(); at != kNone; at = before[at]) {
        isInIt[at] = true;
    }
    return isInIt;
}

// How many of some numbers are below a number, while they become fewer.
class Counter {
public:
    explicit Counter(std::size_t size) : m_sums(size + 1, 0) {}

    void Add(std::size_t number, int count) {
        for (std::size_t at = number + 1; at < m_sums.size(); at += at & (~at + 1)) {
            m_sums[at] += count;
        }
    }

    std::size_t Below(std::size_t number) const {
        int sum = 0;
        for (std::size_t at = number; at > 0; at &= at - 1) sum += m_sums[at];
        return static_cast<std::size_t>(sum);
    }

private:
    std::vector<int> m_sums;
};

// Moves the rows that have to, from the first place to the last. Until its turn comes, such a row
// waits where it was: between the same two rows that stay. What has moved stands before all that
// wait there.
class Mover {
public:
    Mover(const Rows& rows, Flags stays)
        : m_rows(rows),
          m_stays(std::move(stays)),
          m_staying(rows.size() + 1, 0),
          m_nextStaying(rows.size()),
          m_waiting(rows.size()) {
        Rows places(rows.size());
        for (std::uint32_t at = 0; at < rows.size(); ++at) {
            places[rows[at]] = at;
            m_staying[at + 1] = m_staying[at] + (m_stays[at] ? 1 : 0);
            if (!m_stays[at]) m_waiting.Add(rows[at], 1);
        }
        auto next = static_cast<std::uint32_t>(rows.size());
        for (std::size_t row = rows.size(); row-- > 0;) {
            if (m_stays[places[row]]) next = places[row];
            m_nextStaying[row] = next;
        }
    }

    void AppendTo(std::vector<RowChange>& changes, std::size_t first) {
        std::size_t before = 0;  // the last row that stays, so far
        for (std::size_t at = 0; at < m_rows.size();) {
            if (m_stays[at]) {
                before = m_rows[at++];
                continue;
            }
            const std::size_t count = CountTogether(at);
            const std::size_t from = PlaceOf(at);
            for (std::size_t each = at; each < at + count; ++each) m_waiting.Add(m_rows[each], -1);
            const std::size_t to = at + m_waiting.Below(before);
            changes.push_back({RowChange::Kind::Moved, first + from, count, first + to});
            at += count;
        }
    }

private:
    // How many rows from `at` on are next to each other, and wait together.
    std::size_t CountTogether(std::size_t at) const {
        std::size_t count = 1;
        while (at + count < m_rows.size() && !m_stays[at + count] &&
               m_rows[at + count] == m_rows[at] + count) {
            ++count;
        }
        return count;
    }

    // Where the row that is to be at `at`, and waits, is now. All those before `at` are in place.
    std::size_t PlaceOf(std::size_t at) const {
        const std::size_t next = m_nextStaying[m_rows[at]];
        const std::size_t inPlace = next <= at ? next : at + m_staying[next] - m_staying[at];
        return inPlace + m_waiting.Below(m_rows[at]);
    }

    const Rows& m_rows;
    const Flags m_stays;  // by place
    Rows m_staying;       // how many of the places before each one stay
    Rows m_nextStaying;   // for each row, the place of the next one that stays
    Counter m_waiting;    // rows
};

}  // namespace

void AppendMoves(const Rows& rows, std::size_t first, std::vector<RowChange>& changes) {
    if (std::is_sorted(rows.begin(), rows.end())) return;
    Mover(rows, Rising(rows)).AppendTo(changes, first);
}

}  // namespace applist
