// SPDX-License-Identifier: MIT

#include "partner/RowChanges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "partner/ApplyRowChange.h"
#include "partner/ReplicaTest.h"

using applist::ItemText;
using applist::RowChange;
using applist::RowChangesOf;
using applist::RowOriginsBetween;
using Kind = RowChange::Kind;
using Changes = std::vector<RowChange>;
using Strings = std::vector<std::string>;

namespace {

// A list as views of its text.
class List {
public:
    explicit List(std::string text) : m_text(std::move(text)) {
        std::string_view left(m_text);
        while (!left.empty()) m_lines.push_back(ItemText::Take(left).value());
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    const std::vector<ItemText>& Lines() const { return m_lines; }

private:
    const std::string m_text;
    std::vector<ItemText> m_lines;
};

Changes Between(const std::string& before, const std::string& now) {
    return RowChangesOf(RowOriginsBetween(List(before).Lines(), List(now).Lines()));
}

// The same for "b a", the list of the items B/b and A/a.
Changes BetweenIds(const std::string& before, const std::string& now) {
    return Between(replica::ListOf(before), replica::ListOf(now));
}

std::string IdOf(const std::string& line) {
    return line.substr(line.find('\t'));
}

Strings LinesOf(const std::vector<ItemText>& lines) {
    Strings strings;
    for (const ItemText& line : lines) strings.emplace_back(line.Line());
    return strings;
}

Strings Applied(const Changes& changes, const Strings& before, const Strings& now) {
    Strings rows = before;
    for (const RowChange& change : changes) {
        const Strings last = rows;
        ApplyRowChange(change, now, rows);
        if (change.kind != Kind::Renamed) continue;
        for (std::size_t row = change.row; row < change.row + change.count; ++row) {
            EXPECT_EQ(IdOf(last[row]), IdOf(rows[row]));
            EXPECT_NE(last[row], rows[row]);
        }
    }
    return rows;
}

std::size_t CountRows(const Changes& changes) {
    std::size_t count = 0;
    for (const RowChange& change : changes) count += change.count;
    return count;
}

std::size_t CountRows(const Changes& changes, Kind kind) {
    std::size_t count = 0;
    for (const RowChange& change : changes) count += change.kind == kind ? change.count : 0;
    return count;
}

// How few rows would do, if all ids are different: found by trying which of those that stay could
// be left where they are.
std::size_t FewestRows(const Strings& before, const Strings& now) {
    std::vector<std::size_t> was;
    std::size_t renamed = 0;
    for (const std::string& line : now) {
        const auto old = std::find_if(before.begin(), before.end(), [&](const std::string& each) {
            return IdOf(each) == IdOf(line);
        });
        if (old == before.end()) continue;
        was.push_back(static_cast<std::size_t>(old - before.begin()));
        renamed += *old != line ? 1 : 0;
    }
    std::size_t mostStay = 0;
    for (std::size_t chosen = 0; chosen < std::size_t{1} << was.size(); ++chosen) {
        std::vector<std::size_t> stay;
        for (std::size_t at = 0; at < was.size(); ++at) {
            if ((chosen >> at & 1) != 0) stay.push_back(was[at]);
        }
        if (std::is_sorted(stay.begin(), stay.end())) mostStay = std::max(mostStay, stay.size());
    }
    return (before.size() - was.size()) + (now.size() - was.size()) + (was.size() - mostStay) +
           renamed;
}

// Removed from the last to the first, then moved, then inserted and renamed from the first to the
// last; and what could be one change is one.
bool IsInOrder(const Changes& changes) {
    const auto phase = [](const RowChange& change) {
        return change.kind == Kind::Removed ? 0 : change.kind == Kind::Moved ? 1 : 2;
    };
    for (std::size_t at = 1; at < changes.size(); ++at) {
        const RowChange& last = changes[at - 1];
        const RowChange& next = changes[at];
        if (phase(next) < phase(last)) return false;
        if (phase(next) != phase(last)) continue;
        if (next.kind == Kind::Removed && next.row + next.count >= last.row) return false;
        if (phase(next) == 2 && next.row < last.row + last.count) return false;
        if (phase(next) == 2 && next.kind == last.kind && next.row == last.row + last.count) {
            return false;
        }
    }
    return true;
}

class RandomLists {
public:
    // With `ids` different ids, each in a list once if `isOnce`, and `names` names.
    RandomLists(std::uint32_t seed, int ids, int names, bool isOnce)
        : m_random(seed), m_ids(ids), m_names(names), m_isOnce(isOnce) {}

    std::string Next() {
        std::vector<int> ids(static_cast<std::size_t>(m_ids));
        for (int at = 0; at < m_ids; ++at) {
            ids[static_cast<std::size_t>(at)] = m_isOnce ? at : Below(m_ids);
        }
        std::shuffle(ids.begin(), ids.end(), m_random);
        ids.resize(static_cast<std::size_t>(Below(m_ids + 1)));
        return TextOf(ids);
    }

    // A list that has much in common with `text`.
    std::string Near(const std::string& text) {
        Strings lines = LinesOf(List(text).Lines());
        for (int edits = Below(4); edits > 0 && !lines.empty(); --edits) {
            const auto at = lines.begin() + Below(static_cast<int>(lines.size()));
            const std::string line = *at;
            if (Below(3) > 0) lines.erase(at);
            if (Below(2) == 0) continue;
            lines.insert(lines.begin() + Below(static_cast<int>(lines.size()) + 1),
                         Below(2) == 0 ? line : "again" + line);
        }
        std::string joined;
        for (const std::string& line : lines) joined += line + "\n";
        return joined;
    }

    int Below(int end) { return static_cast<int>(m_random() % static_cast<std::uint32_t>(end)); }

private:
    std::string TextOf(const std::vector<int>& ids) {
        std::string text;
        for (const int id : ids) {
            text += std::to_string(Below(m_names)) + "\t" + std::to_string(id) + "\n";
        }
        return text;
    }

    std::mt19937 m_random;
    const int m_ids;
    const int m_names;
    const bool m_isOnce;
};

void ExpectTheNewList(const std::string& before, const std::string& now) {
    const List old(before);
    const List list(now);
    const Changes changes = RowChangesOf(RowOriginsBetween(old.Lines(), list.Lines()));
    ASSERT_EQ(LinesOf(list.Lines()), Applied(changes, LinesOf(old.Lines()), LinesOf(list.Lines())))
        << "from\n"
        << before << "to\n"
        << now;
    ASSERT_TRUE(IsInOrder(changes)) << "from\n" << before << "to\n" << now;
}

// Returns the processor's time that the changes take, the least of three: that of the clock depends
// on what else runs.
std::clock_t CostOf(const std::string& before, const std::string& now) {
    const List old(before);
    const List list(now);
    std::clock_t least = std::numeric_limits<std::clock_t>::max();
    for (int round = 0; round < 3; ++round) {
        const std::clock_t start = std::clock();
        EXPECT_FALSE(RowChangesOf(RowOriginsBetween(old.Lines(), list.Lines())).empty());
        least = std::min(least, std::clock() - start);
    }
    return std::max<std::clock_t>(least, 1);
}

// Items whose ids' hashes all end with the same bits, so that a table holds them in one place.
Strings CrowdedIds(std::size_t count) {
    Strings lines;
    for (int number = 0; lines.size() < count; ++number) {
        const std::string id = std::to_string(number);
        if ((replica::HashOf(id) & 0xfff) == 0) lines.push_back("\t" + id + "\n");
    }
    return lines;
}

// The lines that `lineOf` makes of the numbers from 0 to `count` - 1.
template <class LineOf>
std::string Lines(int count, LineOf lineOf) {
    std::string text;
    for (int at = 0; at < count; ++at) text += lineOf(at) + "\n";
    return text;
}

}  // namespace

TEST(TheRowChanges, OfEqualListsAreNone) {
    EXPECT_EQ(Changes{}, BetweenIds("", ""));
    EXPECT_EQ(Changes{}, BetweenIds("a b", "a b"));
    EXPECT_EQ(Changes{}, BetweenIds("a a", "a a"));
}

TEST(TheRowChanges, NameRowsThatWereInserted) {
    EXPECT_EQ((Changes{{Kind::Inserted, 0, 2}}), BetweenIds("", "a b"));
    EXPECT_EQ((Changes{{Kind::Inserted, 1, 2}}), BetweenIds("a d", "a b c d"));
    EXPECT_EQ((Changes{{Kind::Inserted, 0, 1}, {Kind::Inserted, 2, 1}}), BetweenIds("b", "a b c"));
}

TEST(TheRowChanges, NameRowsThatWereRemovedFromTheLastToTheFirst) {
    EXPECT_EQ((Changes{{Kind::Removed, 0, 2}}), BetweenIds("a b", ""));
    EXPECT_EQ((Changes{{Kind::Removed, 2, 1}, {Kind::Removed, 0, 1}}), BetweenIds("a b c", "b"));
}

TEST(TheRowChanges, NameTheOneRowThatMoved) {
    EXPECT_EQ((Changes{{Kind::Moved, 0, 1, 3}}), BetweenIds("a b c d", "b c d a"));
    EXPECT_EQ((Changes{{Kind::Moved, 3, 1, 0}}), BetweenIds("a b c d", "d a b c"));
    EXPECT_EQ((Changes{{Kind::Moved, 1, 1, 2}}), BetweenIds("x a b c y", "x b a c y"));
    EXPECT_EQ((Changes{{Kind::Moved, 3, 1, 1}}), BetweenIds("x a b c y", "x c a b y"));
}

TEST(TheRowChanges, MoveRowsTogetherThatStayTogether) {
    EXPECT_EQ((Changes{{Kind::Moved, 0, 2, 3}}), BetweenIds("a b c d e", "c d e a b"));
    EXPECT_EQ((Changes{{Kind::Moved, 3, 2, 0}}), BetweenIds("a b c d e", "d e a b c"));
}

TEST(TheRowChanges, NameRowsThatWereRenamed) {
    EXPECT_EQ((Changes{{Kind::Renamed, 1, 2}}),
              Between("A\ta\nB\tb\nC\tc\n", "A\ta\nBB\tb\nCC\tc\n"));
}

TEST(TheRowChanges, MoveWhatIsRenamedElsewhereFirst) {
    EXPECT_EQ((Changes{{Kind::Moved, 0, 1, 2}, {Kind::Renamed, 2, 1}}),
              Between("A\ta\nB\tb\nC\tc\n", "B\tb\nC\tc\nAA\ta\n"));
}

TEST(TheRowChanges, CountTheRowsWithWhichBothListsBegin) {
    std::string ten;
    for (int row = 0; row < 10; ++row) ten += "Row\trow " + std::to_string(row) + "\n";
    EXPECT_EQ((Changes{{Kind::Removed, 10, 1},
                       {Kind::Moved, 11, 1, 10},
                       {Kind::Renamed, 11, 1},
                       {Kind::Inserted, 12, 1}}),
              Between(ten + "A\ta\nB\tb\nC\tc\nD\td\n", ten + "C\tc\nBB\tb\nE\te\nD\td\n"));
}

TEST(TheRowChanges, TakeEqualItemsOfOneIdForTheSame) {
    EXPECT_EQ((Changes{{Kind::Removed, 0, 1}}), Between("A\ta\nB\ta\n", "B\ta\n"));
    EXPECT_EQ((Changes{{Kind::Inserted, 0, 1}}), Between("B\ta\n", "A\ta\nB\ta\n"));
    EXPECT_EQ((Changes{{Kind::Renamed, 1, 1}}), Between("A\ta\nB\ta\n", "A\ta\nC\ta\n"));
}

// Two moves would be told if equal items were taken for each other in their order.
TEST(TheRowChanges, TakeTheMoveOfOneRowForJustThatAlsoAmongEqualItems) {
    const std::string list = "A\ta\nB\tb\nA\ta\nB\tb\n";
    const std::string moved = "B\tb\nA\ta\nB\tb\nA\ta\n";
    EXPECT_EQ((Changes{{Kind::Moved, 0, 1, 3}}), Between(list, moved));
    EXPECT_EQ((Changes{{Kind::Moved, 0, 1, 3}}), Between(moved, list));
}

TEST(TheRowChanges, MakeTheNewListOfTheOldOneWhateverTheTwoAre) {
    RandomLists few(1, 6, 2, /* isOnce */ false);
    RandomLists many(2, 16, 3, /* isOnce */ false);
    RandomLists distinct(3, 12, 2, /* isOnce */ true);
    for (int round = 0; round < 17000; ++round) {
        for (RandomLists* lists : {&few, &many, &distinct}) {
            const std::string before = lists->Next();
            ASSERT_NO_FATAL_FAILURE(ExpectTheNewList(before, lists->Next()));
            ASSERT_NO_FATAL_FAILURE(ExpectTheNewList(before, lists->Near(before)));
        }
    }
}

TEST(TheRowChanges, AreAsFewRowsAsCanBeWhenAllIdsAreDifferent) {
    RandomLists lists(4, 7, 2, /* isOnce */ true);
    for (int round = 0; round < 5000; ++round) {
        const List before(lists.Next());
        const List now(lists.Next());
        const Changes changes = RowChangesOf(RowOriginsBetween(before.Lines(), now.Lines()));
        ASSERT_EQ(FewestRows(LinesOf(before.Lines()), LinesOf(now.Lines())), CountRows(changes));
    }
}

TEST(TheRowChanges, MoveEachRowOnceAtMost) {
    RandomLists lists(5, 30, 1, /* isOnce */ true);
    for (int round = 0; round < 1000; ++round) {
        const std::string before = lists.Next();
        const Changes changes = Between(before, lists.Next());
        ASSERT_LT(CountRows(changes, Kind::Moved), 30u);
        for (const RowChange& change : changes) {
            if (change.kind == Kind::Moved) {
                ASSERT_NE(change.row, change.to);
            }
        }
    }
}

// A service that is after our time chooses what takes most of it.
TEST(TheRowChanges, OfAListOfManyTimesTheSizeTakeLittleMoreThanThatManyTimesAsLong) {
    using Pair = std::pair<std::string, std::string>;
    const auto text = [](int at) { return std::to_string(at); };
    const std::vector<std::function<Pair(int)>> makers = {
        [&](int count) {  // all moved
            return Pair(Lines(count, [&](int at) { return "name\t" + text(at); }),
                        Lines(count, [&](int at) { return "name\t" + text(count - 1 - at); }));
        },
        [&](int count) {  // all renamed
            return Pair(Lines(count, [&](int at) { return "name\t" + text(at); }),
                        Lines(count, [&](int at) { return "other\t" + text(at); }));
        },
        [&](int count) {  // all equal
            return Pair(Lines(count, [](int) { return std::string("name\tid"); }),
                        "first\tid\n" + Lines(count, [](int) { return std::string("name\tid"); }) +
                            "last\tid\n");
        },
        [&](int count) {  // all of one id
            return Pair(Lines(count, [&](int at) { return text(at) + "\tid"; }),
                        Lines(count, [&](int at) { return text(-1 - at) + "\tid"; }));
        },
        [&](int count) {  // all of one hash
            const Strings lines = CrowdedIds(static_cast<std::size_t>(count) / 16);
            return Pair(replica::Joined(lines),
                        replica::Joined(Strings(lines.rbegin(), lines.rend())));
        },
    };
    for (std::size_t at = 0; at < makers.size(); ++at) {
        const auto [fewBefore, fewNow] = makers[at](1000);
        const auto [manyBefore, manyNow] = makers[at](16000);
        // 16 times 14/10 for n log n, and what caches cost; it would be 256 for n squared.
        EXPECT_LT(CostOf(manyBefore, manyNow), 80 * CostOf(fewBefore, fewNow)) << at;
    }
}
