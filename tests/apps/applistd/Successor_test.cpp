// SPDX-License-Identifier: MIT

#include "apps/applistd/Successor.h"

#include <gtest/gtest.h>

#include <cstddef>

using applist::daemon::SuccessorOf;

namespace {

std::size_t comparisons = 0;

struct Counted {
    std::size_t number;
};

bool operator==(const Counted& left, const Counted& right) {
    ++comparisons;
    return left.number == right.number;
}

bool operator<(const Counted& left, const Counted& right) {
    ++comparisons;
    return left.number < right.number;
}

std::vector<Counted> ItemsOf(std::size_t first, std::size_t count) {
    std::vector<Counted> items;
    for (std::size_t number = first; number < first + count; ++number) items.push_back({number});
    return items;
}

}  // namespace

TEST(TheSuccessorOfAnItem, IsTheNextOneThatIsStillThere) {
    EXPECT_EQ(7, SuccessorOf<int>(3, {1, 3, 5, 7, 9}, {9, 7, 1}));
}

TEST(TheSuccessorOfAnItem, IsNobodyWhenAllThatFollowedLeftToo) {
    EXPECT_EQ(std::nullopt, SuccessorOf<int>(3, {1, 3, 5}, {1}));
}

TEST(TheSuccessorOfAnItem, IsNobodyInAnEmptyList) {
    EXPECT_EQ(std::nullopt, SuccessorOf<int>(3, {3}, {}));
}

// 20,000 items: 15 is the logarithm. Looking each one up from the front would take 100 million.
TEST(TheSuccessorOfAnItem, IsFoundInNLogNComparisonsWhenThousandsLeaveAtOnce) {
    constexpr std::size_t kItems = 20000;
    const std::vector<Counted> before = ItemsOf(0, kItems);
    std::vector<Counted> now = ItemsOf(kItems, kItems);  // as many others have come
    now.push_back({kItems - 1});

    comparisons = 0;
    const auto successor = SuccessorOf(Counted{0}, before, now);
    const std::size_t taken = comparisons;

    ASSERT_TRUE(successor.has_value());
    EXPECT_EQ(kItems - 1, successor->number);
    EXPECT_LT(taken, 4 * 15 * kItems);
}
