// SPDX-License-Identifier: MIT

#include "adapters/glib/ListModelTester.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace {

using Rows = ListModelTester::Rows;

std::ptrdiff_t Signed(std::size_t number) {
    return static_cast<std::ptrdiff_t>(number);
}

// The length of the longest increasing part of `numbers`, which are all different.
std::size_t LongestRise(const std::vector<std::size_t>& numbers) {
    std::vector<std::size_t> last;  // the least last number of a rise of each length
    for (const std::size_t number : numbers) {
        const auto longer = std::lower_bound(last.begin(), last.end(), number);
        if (longer == last.end()) {
            last.push_back(number);
        } else {
            *longer = number;
        }
    }
    return last.size();
}

// Where in `before` each of `now` was that was there, and how many of those have another name.
struct Common {
    std::vector<std::size_t> places;
    std::size_t renamed = 0;
};

Common CommonOf(const Rows& before, const Rows& now) {
    std::map<std::string, std::size_t> places;
    for (std::size_t at = 0; at < before.size(); ++at) places[before[at].id] = at;
    Common common;
    for (const ListModelTester::Row& row : now) {
        const auto found = places.find(row.id);
        if (found == places.end()) continue;
        common.places.push_back(found->second);
        if (before[found->second].name != row.name) ++common.renamed;
    }
    return common;
}

// Whether no row between the first and the last one that are different was there before.
bool IsOneRegion(const Rows& before, const Rows& now) {
    const std::size_t both = std::min(before.size(), now.size());
    std::size_t first = 0;
    while (first < both && before[first] == now[first]) ++first;
    std::size_t rest = 0;
    while (rest < both - first && before[before.size() - rest - 1] == now[now.size() - rest - 1]) {
        ++rest;
    }
    std::set<std::pair<std::string, std::string>> gone;
    for (std::size_t at = first; at < before.size() - rest; ++at) {
        gone.emplace(before[at].id, before[at].name);
    }
    return std::none_of(now.begin() + Signed(first), now.end() - Signed(rest),
                        [&](const ListModelTester::Row& row) {
                            return gone.count({row.id, row.name}) > 0;
                        });
}

}  // namespace

ListModelTester::ListModelTester(GListModel* model) : m_model(model), m_rows(Read()) {
    EXPECT_EQ(APPLIST_TYPE_ITEM, g_list_model_get_item_type(model));
    g_signal_connect(model, "items-changed", G_CALLBACK(OnItemsChanged), this);
}

ListModelTester::~ListModelTester() {
    g_signal_handlers_disconnect_by_data(m_model, this);
}

ListModelTester::Counts ListModelTester::TakeCounts() {
    return std::exchange(m_counts, Counts());
}

void ListModelTester::OnItemsChanged(GListModel* model, guint row, guint removed, guint added,
                                     gpointer self) {
    auto* const tester = static_cast<ListModelTester*>(self);
    ASSERT_EQ(tester->m_model, model);
    tester->Take(row, removed, added);
}

void ListModelTester::Take(std::size_t row, std::size_t removed, std::size_t added) {
    ++m_counts.signals;
    m_counts.rows += removed + added;
    const Rows now = Read();
    ASSERT_LE(row + removed, m_rows.size());
    ASSERT_LE(row + added, now.size());
    EXPECT_LT(0u, removed + added);
    const Rows gone(m_rows.begin() + Signed(row), m_rows.begin() + Signed(row + removed));
    const Rows came(now.begin() + Signed(row), now.begin() + Signed(row + added));
    for (const Row& each : came) {
        EXPECT_EQ(0, std::count(gone.begin(), gone.end(), each)) << each.id << " had stayed";
    }
    m_rows.erase(m_rows.begin() + Signed(row), m_rows.begin() + Signed(row + removed));
    m_rows.insert(m_rows.begin() + Signed(row), came.begin(), came.end());
    EXPECT_TRUE(m_rows == now) << "after " << row << " -" << removed << " +" << added;
    EXPECT_EQ(nullptr, g_list_model_get_item(m_model, static_cast<guint>(now.size())));
    std::set<ApplistItem*> items;
    for (const Row& each : now) EXPECT_TRUE(items.insert(each.item.get()).second) << each.id;
}

ListModelTester::Rows ListModelTester::Read() const {
    Rows rows;
    const guint count = g_list_model_get_n_items(m_model);
    for (guint row = 0; row < count; ++row) {
        ApplistItem* const item = APPLIST_ITEM(g_list_model_get_item(m_model, row));
        rows.push_back({std::shared_ptr<ApplistItem>(item, g_object_unref),
                        applist_item_get_name(item), applist_item_get_id(item)});
    }
    return rows;
}

ListModelTester::Bounds ListModelTester::BoundsSince(const Rows& before) const {
    const Common common = CommonOf(before, m_rows);
    const std::size_t moved = common.places.size() - LongestRise(common.places);
    const std::size_t others = before.size() + m_rows.size() - 2 * common.places.size();
    return {IsOneRegion(before, m_rows), others + 2 * moved,
            others + 2 * moved + 2 * common.renamed};
}

bool ListModelTester::KeepsItemsOf(const Rows& before) const {
    std::map<std::string, ApplistItem*> items;
    for (const Row& row : before) items[row.id] = row.item.get();
    return std::all_of(m_rows.begin(), m_rows.end(), [&](const Row& row) {
        const auto found = items.find(row.id);
        return found == items.end() || found->second == row.item.get();
    });
}
