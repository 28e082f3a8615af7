// SPDX-License-Identifier: MIT

#include "apps/applistctl/Differences.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace applist::ctl;

namespace {

const Entry kMaps = {"Maps", "maps"};
const Entry kMusic = {"Music", "music"};
const Entry kMail = {"Mail", "mail"};

ListState ListOf(const std::vector<Entry>& items, const Entry& selection = Entry()) {
    ListState list;
    list.items = items;
    list.selection = selection;
    return list;
}

std::string TextOf(const Event& event) {
    std::string text = event.what;
    if (event.item) text += " " + event.item->name + "=" + event.item->id;
    if (event.before) text += " was " + event.before->name + "=" + event.before->id;
    return text;
}

std::vector<std::string> Between(const ListState& before, const ListState& now) {
    std::vector<std::string> texts;
    for (const Event& event : Differences(before, now)) texts.push_back(TextOf(event));
    return texts;
}

using Texts = std::vector<std::string>;

}  // namespace

TEST(TheDifferences, OfEqualListsAreNone) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic}, kMaps), ListOf({kMaps, kMusic}, kMaps)), Texts());
}

TEST(TheDifferences, NameAnItemThatCame) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic}), ListOf({kMaps, kMail, kMusic})),
              Texts({"added Mail=mail"}));
}

TEST(TheDifferences, NameAnItemThatWent) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic}), ListOf({kMusic})), Texts({"removed Maps=maps"}));
}

TEST(TheDifferences, TellWhatWentBeforeWhatCame) {
    EXPECT_EQ(Between(ListOf({kMaps}), ListOf({kMail})),
              Texts({"removed Maps=maps", "added Mail=mail"}));
}

TEST(TheDifferences, TellANewNameOfAKnownIdWithTheOldOne) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic}), ListOf({{"Atlas", "maps"}, kMusic})),
              Texts({"renamed Atlas=maps was Maps=maps"}));
}

TEST(TheDifferences, TellThatItemsChangedPlacesOnce) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic, kMail}), ListOf({kMail, kMusic, kMaps})),
              Texts({"reordered"}));
}

TEST(TheDifferences, AreNoNewOrderWhenItemsOnlyCameAndWent) {
    EXPECT_EQ(Between(ListOf({kMaps, kMusic}), ListOf({kMail, kMusic})),
              Texts({"removed Maps=maps", "added Mail=mail"}));
}

TEST(TheDifferences, EndWithTheNewSelection) {
    EXPECT_EQ(Between(ListOf({kMaps}, kMaps), ListOf({kMaps, kMail}, kMail)),
              Texts({"added Mail=mail", "selected Mail=mail"}));
}

TEST(TheDifferences, AreNoNewSelectionWhenTheSelectedItemWasRenamed) {
    const Entry atlas = {"Atlas", "maps"};
    EXPECT_EQ(Between(ListOf({kMaps}, kMaps), ListOf({atlas}, atlas)),
              Texts({"renamed Atlas=maps was Maps=maps"}));
}

TEST(TheDifferences, TakeItemsOfOneIdAndOneNameForTheSame) {
    const Entry other = {"Other Maps", "maps"};
    EXPECT_EQ(Between(ListOf({kMaps, other}), ListOf({other})), Texts({"removed Maps=maps"}));
}

TEST(TheDifferences, CountItemsThatAreEqual) {
    EXPECT_EQ(Between(ListOf({kMaps, kMaps}), ListOf({kMaps, kMaps, kMaps})),
              Texts({"added Maps=maps"}));
}

TEST(TheDifferences, TellANewNameAmongItemsOfOneId) {
    EXPECT_EQ(Between(ListOf({{"A", "x"}, {"B", "x"}}), ListOf({{"A", "x"}, {"C", "x"}})),
              Texts({"renamed C=x was B=x"}));
}

TEST(TheDifferences, OfALargeListReversedAreFoundInTime) {
    ListState before;
    for (int number = 0; number < 100000; ++number) {
        before.items.push_back({"name", std::to_string(number)});
    }
    ListState now = before;
    now.items.assign(before.items.rbegin(), before.items.rend());
    EXPECT_EQ(Between(before, now), Texts({"reordered"}));
}
