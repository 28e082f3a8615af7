// SPDX-License-Identifier: MIT

// The rows' changes between two lists, against a plain comparison of two lists that are equal.

#include "RowChanges.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ByHand.h"
#include "Interleaved.h"
#include "common/ItemText.h"
#include "partner/RowChanges.h"

namespace bench {

namespace {

using applist::ItemText;
using applist::RowChange;
using Items = std::vector<PlainItem>;

constexpr std::size_t kRows = 10000;
constexpr double kOneTarget = 1.5;
constexpr double kAllTarget = 10;

class Rows {
public:
    explicit Rows(const Items& items) {
        for (const PlainItem& item : items) AppendByHand(item, m_text);
        std::string_view left(m_text);
        while (!left.empty()) m_lines.push_back(ItemText::Take(left).value());
    }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    const std::vector<ItemText>& Lines() const { return m_lines; }

private:
    std::string m_text;
    std::vector<ItemText> m_lines;
};

std::size_t CountRows(const std::vector<RowChange>& changes) {
    std::size_t count = 0;
    for (const RowChange& change : changes) count += change.count;
    return count;
}

// What a screen does that keeps the last list in a vector of structs, and looks whether it is
// another one: it learns nothing else.
bool AreEqual(const Items& left, const Items& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const PlainItem& one, const PlainItem& other) {
                          return one.uniqueId == other.uniqueId &&
                                 one.visibleName == other.visibleName;
                      });
}

// `changed` rows make `now` of the sample.
void CompareTo(const Items& now, const char* what, std::size_t changed, double target) {
    const Items sample = SampleItems(kRows);
    const Items same = sample;
    const Rows before(sample);
    const Rows after(now);
    if (CountRows(RowChangesOf(RowOriginsBetween(before.Lines(), after.Lines()))) != changed) {
        throw std::runtime_error(std::string(what) + ": other changes than expected");
    }
    const Comparison result = Compare(
        {21, 20, 3},
        [&] {
            benchmark::DoNotOptimize(
                RowChangesOf(RowOriginsBetween(before.Lines(), after.Lines())));
        },
        [&] { benchmark::DoNotOptimize(AreEqual(sample, same)); });
    PrintTableLine(what, result, target);
}

}  // namespace

void PrintRowChangesRatios() {
    const Items sample = SampleItems(kRows);
    const PlainItem other{"Another", "another.desktop"};
    const auto middle = static_cast<std::ptrdiff_t>(kRows / 2);
    PrintTableHead({21, 20, 3}, "calls, in microseconds a call: 10,000 rows, against comparing");

    Items now = sample;
    now[kRows / 2].visibleName += " again";
    CompareTo(now, "one renamed", 1, kOneTarget);
    now = sample;
    now.insert(now.begin() + middle, other);
    CompareTo(now, "one inserted", 1, kOneTarget);
    now = sample;
    now.erase(now.begin() + middle);
    CompareTo(now, "one removed", 1, kOneTarget);
    now = sample;
    std::rotate(now.begin(), now.begin() + 1, now.end());
    CompareTo(now, "the first moved to the end", 1, kOneTarget);

    now = sample;
    for (PlainItem& item : now) item.visibleName += " again";
    CompareTo(now, "all renamed", kRows, kAllTarget);
    now = sample;
    for (PlainItem& item : now) item.uniqueId += ".again";
    CompareTo(now, "all replaced", 2 * kRows, kAllTarget);
    now.assign(sample.rbegin(), sample.rend());
    CompareTo(now, "all the other way round", kRows - 1, kAllTarget);
}

}  // namespace bench
