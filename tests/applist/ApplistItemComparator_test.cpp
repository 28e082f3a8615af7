// SPDX-License-Identifier: MIT

#include "applist/ApplistItemComparator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "applist/RemoteAppListItem.h"

using std::string;

static_assert(sizeof(ApplistItemComparator) == sizeof(void*), "one pointer");
static_assert(std::is_same<bool, decltype(std::declval<ApplistItemComparator&>()(
                                     std::declval<AppListItem*>()))>::value,
              "a predicate");

namespace {

bool Matches(const string& referenceId, const string& testedId) {
    RemoteAppListItem reference("Reference", referenceId);
    RemoteAppListItem tested("Tested", testedId);
    return ApplistItemComparator(&reference)(&tested);
}

// An item that counts the questions for its id, and enters each into `asked` when that is given.
class AskedItem : public AppListItem {
public:
    explicit AskedItem(string id, std::vector<const AppListItem*>* asked = nullptr)
        : m_id(std::move(id)), m_asked(asked) {}
    string GetVisibleName() override {
        ++m_askedForName;
        return "same";
    }
    string GetUnigueId() override {
        ++m_askedForId;
        if (m_asked != nullptr) m_asked->push_back(this);
        return m_id;
    }

    string m_id;
    std::vector<const AppListItem*>* m_asked;
    int m_askedForName = 0;
    int m_askedForId = 0;
};

}  // namespace

TEST(AComparator, MatchesTheSameIdUnderAnyName) {
    EXPECT_TRUE(Matches("a", "a"));
}

TEST(AComparator, KnowsCasesBlanksAndEmptinessApart) {
    EXPECT_FALSE(Matches("a", "A"));
    EXPECT_FALSE(Matches("a", "a "));
    EXPECT_FALSE(Matches("a", ""));
    EXPECT_FALSE(Matches("a", "b"));
}

TEST(AComparator, MatchesAnEmptyIdWithAnEmptyIdAlone) {
    EXPECT_TRUE(Matches("", ""));
    EXPECT_FALSE(Matches("", "a"));
    EXPECT_FALSE(Matches("", " "));
    EXPECT_FALSE(Matches("", string(1, '\0')));
}

TEST(AComparator, ComparesTheBytesBehindANul) {
    EXPECT_TRUE(Matches(string("a\0b", 3), string("a\0b", 3)));
    EXPECT_FALSE(Matches(string("a\0b", 3), string("a\0c", 3)));
    EXPECT_FALSE(Matches(string("a\0b", 3), "a"));
}

TEST(AComparator, DoesNotLookAtTheNames) {
    AskedItem reference("a");
    AskedItem sameNameAnotherId("b");

    EXPECT_FALSE(ApplistItemComparator(&reference)(&sameNameAnotherId));

    EXPECT_EQ(0, reference.m_askedForName);
    EXPECT_EQ(0, sameNameAnotherId.m_askedForName);
}

TEST(AComparator, AsksItsReferenceItemBeforeTheTestedOne) {
    std::vector<const AppListItem*> asked;
    AskedItem reference("a", &asked);
    AskedItem tested("a", &asked);

    ApplistItemComparator comparator(&reference);
    comparator(&tested);

    EXPECT_EQ((std::vector<const AppListItem*>{&reference, &tested}), asked);
}

TEST(AComparator, SeesAnIdThatChangesBetweenTwoTests) {
    AskedItem reference("a");
    AskedItem tested("b");
    ApplistItemComparator comparator(&reference);
    EXPECT_FALSE(comparator(&tested));

    reference.m_id = "b";

    EXPECT_TRUE(comparator(&tested));
}

TEST(ASearch, StopsAtTheEarlierOfTwoEqualIds) {
    RemoteAppListItem other("Other", "other");
    RemoteAppListItem earlier("Earlier", "twin");
    RemoteAppListItem later("Later", "twin");
    RemoteAppListItem wanted("", "twin");
    std::vector<RemoteAppListItem*> range = {&other, &earlier, &later};

    const auto found = std::find_if(range.begin(), range.end(), ApplistItemComparator(&wanted));

    ASSERT_NE(range.end(), found);
    EXPECT_EQ(&earlier, *found);
}

TEST(ASearch, EndsAtTheEndWhenNothingMatches) {
    RemoteAppListItem other("Other", "other");
    RemoteAppListItem wanted("", "wanted");
    std::vector<RemoteAppListItem*> range = {&other};

    EXPECT_EQ(range.end(),
              std::find_if(range.begin(), range.end(), ApplistItemComparator(&wanted)));
}

TEST(ASearch, AsksForBothIdsAtEveryElement) {
    AskedItem wanted("wanted");
    AskedItem first("first");
    AskedItem second("second");
    AskedItem third("wanted");
    AskedItem behind("behind");
    std::vector<AppListItem*> range = {&first, &second, &third, &behind};

    const auto found = std::find_if(range.begin(), range.end(), ApplistItemComparator(&wanted));

    EXPECT_EQ(&third, *found);
    EXPECT_EQ(3, wanted.m_askedForId);
    EXPECT_EQ(1, first.m_askedForId);
    EXPECT_EQ(1, second.m_askedForId);
    EXPECT_EQ(1, third.m_askedForId);
    EXPECT_EQ(0, behind.m_askedForId);
}
