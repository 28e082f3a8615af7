// SPDX-License-Identifier: MIT

#include <algorithm>

#include "partner/ReplicaTest.h"

#include "support/RecordingAllocator.h"

using namespace replica;

TEST_P(AReplica, StartsEmptyWithAnEmptyItemSelected) {
    EXPECT_EQ("(/)", Content());
    EXPECT_EQ(0u, m_replica.Count());
}

TEST_P(AReplica, TakesOverListAndSelection) {
    const Replica::Change change = Take("a b", "b");

    EXPECT_EQ("A/a B/b (B/b)", Content());
    EXPECT_TRUE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(2u, m_replica.Count());
}

TEST_P(AReplica, ReadsTheEscapesOfNamesAndIds) {
    TakeText("A\\tB\\\\\tplain\nPlain\t\\na\\\\\n", "Plain\t\\na\\\\\n");

    EXPECT_EQ("A\tB\\/plain Plain/\na\\ (Plain/\na\\)", Content());
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, ReadsTheEscapesOfASelectionThatIsNotInTheList) {
    TakeText("A\ta\n", "X\\n\t\\tx\n");

    EXPECT_EQ("A/a (X\n/\tx)", Content());
}

TEST_P(AReplica, SelectsTheItemOfItsListAndNoCopy) {
    Take("a b", "b");

    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, SaysThatNothingChangedWhenNothingDid) {
    Take("a b", "b");
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = Take("a b", "b");

    EXPECT_FALSE(change.items);
    EXPECT_FALSE(change.selection);
    EXPECT_TRUE(change.gone.empty());
    EXPECT_EQ(before, m_replica.GetAllItems());
}

TEST_P(AReplica, AllocatesNothingForTheBytesThatItHas) {
    const std::string list = ListOf("a b c");
    const std::string selection = ListOf("b");
    TakeText(list, selection);
    std::vector<char> again = Bytes(list);
    const std::vector<char> selected = Bytes(selection);
    const std::size_t before = recording::AllocationsSoFar().blocks;

    const auto change = m_replica.Update(std::move(again), selected);

    EXPECT_EQ(before, recording::AllocationsSoFar().blocks);
    ASSERT_TRUE(change);
    EXPECT_FALSE(change->items || change->selection);
}

TEST_P(AReplica, TakesOverAnotherSelectionOfTheSameBytes) {
    Take("a b", "a");
    const Pointers before = m_replica.GetAllItems();

    EXPECT_TRUE(Take("a b", "b").selection);
    EXPECT_EQ(before[1], m_replica.GetSelection());
    EXPECT_TRUE(Take("a b", "x").selection);
    EXPECT_EQ("A/a B/b (X/x)", Content());
    EXPECT_EQ(before, m_replica.GetAllItems());
}

TEST_P(AReplica, RefusesNoSelectionAlsoForTheBytesThatItHas) {
    EXPECT_TRUE(Refuses("", ""));
    Take("a b", "a");
    EXPECT_TRUE(Refuses(ListOf("a b"), ""));
    m_replica.Clear();
    EXPECT_TRUE(Refuses("", ""));
}

TEST_P(AReplica, TakesOverASelectionAlone) {
    Take("a b", "a");

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("b")), change));

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, SelectsTheFirstOfAnIdWhenItTakesASelectionAlone) {
    TakeText("A\ta\nOld\tb\nB\tb\nOther\tb\n", "A\ta\n");
    Replica::Change change;

    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes("New\tb\n"), change));
    EXPECT_EQ(At(1), m_replica.GetSelection()) << "the first of the id";
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes("B\tb\n"), change));
    EXPECT_EQ(At(2), m_replica.GetSelection()) << "the one that is equal";
}

TEST_P(AReplica, TakesOverAListAndASelectionThatFitTogether) {
    EXPECT_EQ(Replica::Taken::Yes, TakeIfWhole("a b", "b"));
    EXPECT_EQ("A/a B/b (B/b)", Content());
    EXPECT_EQ(Replica::Taken::Yes, TakeIfWhole("c", "b")) << "selected already";
    EXPECT_EQ("C/c (B/b)", Content());
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateIfWhole({}, Bytes("\t\n"), m_change));
    EXPECT_EQ("(/)", Content());
}

TEST_P(AReplica, LeavesAListAndASelectionThatDoNotFitTogether) {
    Take("a b", "a");

    EXPECT_EQ(Replica::Taken::NotInTheList, TakeIfWhole("a", "x"));
    EXPECT_EQ(Replica::Taken::NotInTheList, TakeIfWhole("a b", "x"));
    EXPECT_EQ(Replica::Taken::NotInTheList, TakeIfWhole("", "x"));
    EXPECT_EQ(Replica::Taken::NotInTheList,
              m_replica.UpdateIfWhole(Bytes(ListOf("a")), Bytes("\t\n"), m_change));
    EXPECT_EQ(Replica::Taken::NotUnderstood, m_replica.UpdateIfWhole(Bytes("a"), {}, m_change));

    EXPECT_FALSE(m_change.items || m_change.selection);
    EXPECT_EQ("A/a B/b (A/a)", Content());
}

TEST_P(AReplica, LeavesASelectionAloneThatIsNotInItsList) {
    Take("a b", "a");

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::NotInTheList, m_replica.UpdateSelection(Bytes(ListOf("x")), change));

    EXPECT_FALSE(change.selection);
    EXPECT_EQ("A/a B/b (A/a)", Content());
}

TEST_P(AReplica, TakesTheSelectionOutsideTheListThatItHas) {
    Take("a b", "x");
    AppListItem* const before = m_replica.GetSelection();

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("x")), change));

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(before, m_replica.GetSelection());
}

TEST_P(AReplica, HandsOverTheSelectionOutsideTheListThatASelectionAloneReplaces) {
    Take("a b", "x");
    AppListItem* const before = m_replica.GetSelection();

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("b")), change));

    EXPECT_EQ(before, change.goneOutside.get());
    EXPECT_EQ("A/a B/b (B/b)", Content());
    EXPECT_TRUE(Take("a b", "x").selection);
    EXPECT_EQ("A/a B/b (X/x)", Content());
}

TEST_P(AReplica, SeesAMoveAsAChangeOfTheItemsAndKeepsEveryObject) {
    Take("a b c d", "a");
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = Take("a c d b", "a");

    EXPECT_TRUE(change.items);
    EXPECT_FALSE(change.selection);
    EXPECT_TRUE(change.gone.empty());
    EXPECT_EQ((Pointers{before[0], before[2], before[3], before[1]}), m_replica.GetAllItems());
}

TEST_P(AReplica, KeepsTheObjectsAroundOneThatCame) {
    Take("a c", "a");
    const Pointers before = m_replica.GetAllItems();

    Take("a b c", "a");

    EXPECT_EQ(before[0], At(0));
    EXPECT_EQ(before[1], At(2));
}

TEST_P(AReplica, HandsOverWhatIsGoneAlive) {
    Take("a b c", "a");
    AppListItem* const gone = At(1);

    const Replica::Change change = Take("a c", "a");

    ASSERT_EQ(1u, change.gone.size());
    EXPECT_EQ(gone, change.gone[0].get());
    EXPECT_EQ("b", gone->GetUnigueId());
}

TEST_P(AReplica, TakesARenamedItemForANewOneAndKeepsItSelected) {
    Take("a b", "b");
    AppListItem* const before = At(1);

    const Replica::Change change = TakeText("A\ta\nNew\tb\n", "New\tb\n");

    EXPECT_EQ("A/a New/b (New/b)", Content());
    EXPECT_TRUE(change.items);
    EXPECT_FALSE(change.selection) << "the same id is selected";
    ASSERT_EQ(1u, change.gone.size());
    EXPECT_EQ(before, change.gone[0].get());
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, TakesTheItemOfTheListWhenItsNameChangedBetweenTheTwoReplies) {
    TakeText("Old\ta\n", "New\ta\n");

    EXPECT_EQ("Old/a (Old/a)", Content());
    EXPECT_EQ(At(0), m_replica.GetSelection());
}

TEST_P(AReplica, SaysNothingTwiceOfASelectionWhoseNameIsNotTheItems) {
    TakeText("Old\ta\n", "New\ta\n");

    const Replica::Change change = TakeText("Old\ta\n", "New\ta\n");

    EXPECT_FALSE(change.selection);
}

TEST_P(AReplica, SeesAnotherSelectionAsAChangeOfTheSelectionAlone) {
    Take("a b", "a");

    const Replica::Change change = Take("a b", "b");

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_TRUE(change.gone.empty());
}

TEST_P(AReplica, KeepsEqualItemsApart) {
    Take("a a b a", "b");
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = Take("a a a", "a");

    EXPECT_EQ("A/a A/a A/a (A/a)", Content());
    EXPECT_EQ(1u, change.gone.size());
    for (std::size_t at = 0; at < 3; ++at) {
        EXPECT_EQ(1, std::count(before.begin(), before.end(), At(at))) << "place " << at;
        EXPECT_EQ(1, std::count_if(before.begin(), before.end(),
                                   [&](AppListItem* item) { return item == At(at); }));
    }
    EXPECT_NE(At(0), At(1));
    EXPECT_NE(At(1), At(2));
}

TEST_P(AReplica, KeepsTheObjectsOfItemsThatCrowdInOnePlaceOfATable) {
    Texts lines = CrowdedLines(100);
    const std::string first = lines.front();
    const std::string last = lines.back();
    TakeText(Joined(lines) + first + last, first);
    const Pointers before = m_replica.GetAllItems();
    std::reverse(lines.begin(), lines.end());

    const Replica::Change change = TakeText(Joined(lines) + last + "New\tnew\n", first);

    Pointers expected(before.rend() - 100, before.rend());
    expected.insert(expected.end(), {before[101], At(101)});
    EXPECT_EQ(expected, m_replica.GetAllItems());
    ASSERT_EQ(1u, change.gone.size());
    EXPECT_EQ(before[100], change.gone[0].get()) << "of equal items, the first ones stay";
}

TEST_P(AReplica, HandsOverWhatIsGoneOfItemsThatCrowdInOnePlaceOfATable) {
    Texts lines = CrowdedLines(200);
    const Texts others(lines.begin() + 100, lines.end());
    lines.resize(100);
    TakeText(Joined(lines), lines[0]);
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = TakeText(Joined(others) + lines[50], lines[50]);

    EXPECT_EQ(99u, change.gone.size());
    EXPECT_EQ(101u, m_replica.Count());
    EXPECT_EQ(before[50], At(100));
}

TEST_P(AReplica, SelectsTheFirstOfTwoItemsWithOneIdThatHasTheSelectionsName) {
    TakeText("One\ta\nTwo\ta\n", "Two\ta\n");

    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, SaysSoWhenTheSelectionMovesBetweenTwoItemsWithOneId) {
    TakeText("One\ta\nTwo\ta\n", "One\ta\n");

    const Replica::Change change = TakeText("One\ta\nTwo\ta\n", "Two\ta\n");

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection) << "another name is shown as selected";
}

// ---- A selection that is not in the list --------------------------------------------------------

TEST_P(AReplica, KeepsASelectionThatIsNotInTheList) {
    const Replica::Change change = Take("a", "x");

    EXPECT_EQ("A/a (X/x)", Content());
    EXPECT_TRUE(change.selection);
}

TEST_P(AReplica, KeepsTheObjectOfASelectionThatIsNotInTheList) {
    Take("a", "x");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = Take("a b", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(before, m_replica.GetSelection());
}

TEST_P(AReplica, HandsOverASelectionThatIsReplaced) {
    Take("a", "x");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = Take("a", "a");

    EXPECT_EQ(before, change.goneOutside.get());
}

TEST_P(AReplica, SaysSoWhenASelectionThatIsNotInTheListIsRenamed) {
    TakeText("A\ta\n", "Old\tx\n");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = TakeText("A\ta\n", "New\tx\n");

    EXPECT_EQ("A/a (New/x)", Content());
    EXPECT_TRUE(change.selection) << "its holders must hear that the object goes";
    EXPECT_EQ(before, change.goneOutside.get());
}

TEST_P(AReplica, FindsASelectionAgainThatComesBackIntoTheList) {
    Take("a", "x");

    const Replica::Change change = Take("a x", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_P(AReplica, KeepsASelectionThatLeftTheList) {
    Take("a x", "x");

    const Replica::Change change = Take("a", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ("A/a (X/x)", Content());
    EXPECT_EQ(1u, change.gone.size());
}

TEST_P(AReplica, IsEmptyAgainWhenCleared) {
    Take("a b", "b");

    const Replica::Change change = m_replica.Clear();

    EXPECT_EQ("(/)", Content());
    EXPECT_TRUE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(2u, change.gone.size());
    EXPECT_FALSE(m_replica.Clear().items);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, AReplica, ::testing::Bool(), WithOrWithoutRows);
