#include "partner/Replica.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "support/RecordingAllocator.h"

using applist::Replica;

namespace {

using Pointers = std::vector<AppListItem*>;
using Texts = std::vector<std::string>;

std::vector<char> Bytes(const std::string& text) {
    return std::vector<char>(text.begin(), text.end());
}

// "b a" is the list of the items B/b and A/a.
std::string ListOf(const std::string& ids) {
    std::string text;
    for (const char id : ids) {
        if (id == ' ') continue;
        text += std::string(1, static_cast<char>(std::toupper(id))) + "\t" + id + "\n";
    }
    return text;
}

std::size_t HashOf(std::string_view line) {
    return std::hash<std::string_view>()(line);
}

// Items whose hashes all end with the same bits, so that a table holds them in one place.
Texts CrowdedLines(std::size_t count) {
    Texts lines;
    for (int number = 0; lines.size() < count; ++number) {
        const std::string line = "\t" + std::to_string(number);
        if ((HashOf(line) & 0xfff) == 0) lines.push_back(line + "\n");
    }
    return lines;
}

std::string Joined(const Texts& lines) {
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

// All that is to be seen of a replica.
struct Sight {
    explicit Sight(const Replica& replica)
        : items(replica.GetAllItems()), selection(replica.GetSelection()) {
        for (AppListItem* item : items) content += TextOf(item) + " ";
        content += "(" + TextOf(selection) + ")";
    }

    static std::string TextOf(AppListItem* item) {
        return item->GetVisibleName() + "/" + item->GetUnigueId();
    }

    bool operator==(const Sight& other) const {
        return items == other.items && selection == other.selection && content == other.content;
    }

    Pointers items;
    AppListItem* selection;
    std::string content;
};

}  // namespace

class AReplica : public ::testing::Test {
protected:
    // Takes over `ids`, of which the item `selection` is selected.
    Replica::Change Take(const std::string& ids, const std::string& selection) {
        return TakeText(ListOf(ids), ListOf(selection));
    }

    Replica::Change TakeText(const std::string& list, const std::string& selection) {
        std::optional<Replica::Change> change = m_replica.Update(Bytes(list), Bytes(selection));
        EXPECT_TRUE(change) << "refused: " << list << "selection " << selection;
        return change ? std::move(*change) : Replica::Change();
    }

    bool Refuses(const std::string& list, const std::string& selection) {
        const std::string before = Content();
        const bool refused = !m_replica.Update(Bytes(list), Bytes(selection));
        EXPECT_EQ(before, Content());
        return refused;
    }

    std::string Content() const { return Sight(m_replica).content; }

    AppListItem* At(std::size_t place) const { return m_replica.GetAllItems().at(place); }

    Replica m_replica;
};

TEST_F(AReplica, StartsEmptyWithAnEmptyItemSelected) {
    EXPECT_EQ("(/)", Content());
    EXPECT_EQ(0u, m_replica.Count());
}

TEST_F(AReplica, TakesOverListAndSelection) {
    const Replica::Change change = Take("a b", "b");

    EXPECT_EQ("A/a B/b (B/b)", Content());
    EXPECT_TRUE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(2u, m_replica.Count());
}

TEST_F(AReplica, ReadsTheEscapesOfNamesAndIds) {
    TakeText("A\\tB\\\\\tplain\nPlain\t\\na\\\\\n", "Plain\t\\na\\\\\n");

    EXPECT_EQ("A\tB\\/plain Plain/\na\\ (Plain/\na\\)", Content());
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_F(AReplica, ReadsTheEscapesOfASelectionThatIsNotInTheList) {
    TakeText("A\ta\n", "X\\n\t\\tx\n");

    EXPECT_EQ("A/a (X\n/\tx)", Content());
}

TEST_F(AReplica, SelectsTheItemOfItsListAndNoCopy) {
    Take("a b", "b");

    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_F(AReplica, SaysThatNothingChangedWhenNothingDid) {
    Take("a b", "b");
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = Take("a b", "b");

    EXPECT_FALSE(change.items);
    EXPECT_FALSE(change.selection);
    EXPECT_TRUE(change.gone.empty());
    EXPECT_EQ(before, m_replica.GetAllItems());
}

TEST_F(AReplica, AllocatesNothingForTheBytesThatItHas) {
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

TEST_F(AReplica, TakesOverAnotherSelectionOfTheSameBytes) {
    Take("a b", "a");
    const Pointers before = m_replica.GetAllItems();

    EXPECT_TRUE(Take("a b", "b").selection);
    EXPECT_EQ(before[1], m_replica.GetSelection());
    EXPECT_TRUE(Take("a b", "x").selection);
    EXPECT_EQ("A/a B/b (X/x)", Content());
    EXPECT_EQ(before, m_replica.GetAllItems());
}

TEST_F(AReplica, RefusesNoSelectionAlsoForTheBytesThatItHas) {
    EXPECT_TRUE(Refuses("", ""));
    Take("a b", "a");
    EXPECT_TRUE(Refuses(ListOf("a b"), ""));
    m_replica.Clear();
    EXPECT_TRUE(Refuses("", ""));
}

TEST_F(AReplica, TakesOverASelectionAlone) {
    Take("a b", "a");

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("b")), change));

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_F(AReplica, SelectsTheFirstOfAnIdWhenItTakesASelectionAlone) {
    TakeText("A\ta\nOld\tb\nB\tb\nOther\tb\n", "A\ta\n");
    Replica::Change change;

    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes("New\tb\n"), change));
    EXPECT_EQ(At(1), m_replica.GetSelection()) << "the first of the id";
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes("B\tb\n"), change));
    EXPECT_EQ(At(2), m_replica.GetSelection()) << "the one that is equal";
}

TEST_F(AReplica, LeavesASelectionAloneThatIsNotInItsList) {
    Take("a b", "a");

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::NotInTheList, m_replica.UpdateSelection(Bytes(ListOf("x")), change));

    EXPECT_FALSE(change.selection);
    EXPECT_EQ("A/a B/b (A/a)", Content());
}

TEST_F(AReplica, TakesTheSelectionOutsideTheListThatItHas) {
    Take("a b", "x");
    AppListItem* const before = m_replica.GetSelection();

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("x")), change));

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(before, m_replica.GetSelection());
}

TEST_F(AReplica, HandsOverTheSelectionOutsideTheListThatASelectionAloneReplaces) {
    Take("a b", "x");
    AppListItem* const before = m_replica.GetSelection();

    Replica::Change change;
    EXPECT_EQ(Replica::Taken::Yes, m_replica.UpdateSelection(Bytes(ListOf("b")), change));

    EXPECT_EQ(before, change.goneOutside.get());
    EXPECT_EQ("A/a B/b (B/b)", Content());
    EXPECT_TRUE(Take("a b", "x").selection);
    EXPECT_EQ("A/a B/b (X/x)", Content());
}

TEST_F(AReplica, SeesAMoveAsAChangeOfTheItemsAndKeepsEveryObject) {
    Take("a b c d", "a");
    const Pointers before = m_replica.GetAllItems();

    const Replica::Change change = Take("a c d b", "a");

    EXPECT_TRUE(change.items);
    EXPECT_FALSE(change.selection);
    EXPECT_TRUE(change.gone.empty());
    EXPECT_EQ((Pointers{before[0], before[2], before[3], before[1]}), m_replica.GetAllItems());
}

TEST_F(AReplica, KeepsTheObjectsAroundOneThatCame) {
    Take("a c", "a");
    const Pointers before = m_replica.GetAllItems();

    Take("a b c", "a");

    EXPECT_EQ(before[0], At(0));
    EXPECT_EQ(before[1], At(2));
}

TEST_F(AReplica, HandsOverWhatIsGoneAlive) {
    Take("a b c", "a");
    AppListItem* const gone = At(1);

    const Replica::Change change = Take("a c", "a");

    ASSERT_EQ(1u, change.gone.size());
    EXPECT_EQ(gone, change.gone[0].get());
    EXPECT_EQ("b", gone->GetUnigueId());
}

TEST_F(AReplica, TakesARenamedItemForANewOneAndKeepsItSelected) {
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

TEST_F(AReplica, TakesTheItemOfTheListWhenItsNameChangedBetweenTheTwoReplies) {
    TakeText("Old\ta\n", "New\ta\n");

    EXPECT_EQ("Old/a (Old/a)", Content());
    EXPECT_EQ(At(0), m_replica.GetSelection());
}

TEST_F(AReplica, SaysNothingTwiceOfASelectionWhoseNameIsNotTheItems) {
    TakeText("Old\ta\n", "New\ta\n");

    const Replica::Change change = TakeText("Old\ta\n", "New\ta\n");

    EXPECT_FALSE(change.selection);
}

TEST_F(AReplica, SeesAnotherSelectionAsAChangeOfTheSelectionAlone) {
    Take("a b", "a");

    const Replica::Change change = Take("a b", "b");

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_TRUE(change.gone.empty());
}

TEST_F(AReplica, KeepsEqualItemsApart) {
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

TEST_F(AReplica, KeepsTheObjectsOfItemsThatCrowdInOnePlaceOfATable) {
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

TEST_F(AReplica, HandsOverWhatIsGoneOfItemsThatCrowdInOnePlaceOfATable) {
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

TEST_F(AReplica, SelectsTheFirstOfTwoItemsWithOneIdThatHasTheSelectionsName) {
    TakeText("One\ta\nTwo\ta\n", "Two\ta\n");

    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_F(AReplica, SaysSoWhenTheSelectionMovesBetweenTwoItemsWithOneId) {
    TakeText("One\ta\nTwo\ta\n", "One\ta\n");

    const Replica::Change change = TakeText("One\ta\nTwo\ta\n", "Two\ta\n");

    EXPECT_FALSE(change.items);
    EXPECT_TRUE(change.selection) << "another name is shown as selected";
}

// ---- A selection that is not in the list --------------------------------------------------------

TEST_F(AReplica, KeepsASelectionThatIsNotInTheList) {
    const Replica::Change change = Take("a", "x");

    EXPECT_EQ("A/a (X/x)", Content());
    EXPECT_TRUE(change.selection);
}

TEST_F(AReplica, KeepsTheObjectOfASelectionThatIsNotInTheList) {
    Take("a", "x");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = Take("a b", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(before, m_replica.GetSelection());
}

TEST_F(AReplica, HandsOverASelectionThatIsReplaced) {
    Take("a", "x");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = Take("a", "a");

    EXPECT_EQ(before, change.goneOutside.get());
}

TEST_F(AReplica, SaysSoWhenASelectionThatIsNotInTheListIsRenamed) {
    TakeText("A\ta\n", "Old\tx\n");
    AppListItem* const before = m_replica.GetSelection();

    const Replica::Change change = TakeText("A\ta\n", "New\tx\n");

    EXPECT_EQ("A/a (New/x)", Content());
    EXPECT_TRUE(change.selection) << "its holders must hear that the object goes";
    EXPECT_EQ(before, change.goneOutside.get());
}

TEST_F(AReplica, FindsASelectionAgainThatComesBackIntoTheList) {
    Take("a", "x");

    const Replica::Change change = Take("a x", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ(At(1), m_replica.GetSelection());
}

TEST_F(AReplica, KeepsASelectionThatLeftTheList) {
    Take("a x", "x");

    const Replica::Change change = Take("a", "x");

    EXPECT_FALSE(change.selection);
    EXPECT_EQ("A/a (X/x)", Content());
    EXPECT_EQ(1u, change.gone.size());
}

TEST_F(AReplica, IsEmptyAgainWhenCleared) {
    Take("a b", "b");

    const Replica::Change change = m_replica.Clear();

    EXPECT_EQ("(/)", Content());
    EXPECT_TRUE(change.items);
    EXPECT_TRUE(change.selection);
    EXPECT_EQ(2u, change.gone.size());
    EXPECT_FALSE(m_replica.Clear().items);
}

// ---- Memory -------------------------------------------------------------------------------------

TEST_F(AReplica, GivesBackTheMemoryOfThousandsOfItemsWhenOneOfThemStays) {
    constexpr std::size_t kLittle = 8192;
    std::string text;
    for (int count = 0; count < 40000; ++count) text += "\t" + std::to_string(count) + "\n";
    Take("a", "a");
    const std::size_t before = recording::BytesInUse();
    TakeText(text, "\t5000\n");
    ASSERT_GT(recording::BytesInUse(), before + 100 * kLittle);

    TakeText("\t5000\n", "\t5000\n");

    EXPECT_EQ("/5000 (/5000)", Content());
    EXPECT_LT(recording::BytesInUse(), before + kLittle);
}

class AReplicaWithoutMemory : public ::testing::Test {
protected:
    struct Reply {
        std::string list;
        std::string selection;
    };

    // Returns false when it needs fewer than `nth` allocations.
    static bool RunsOut(Replica& replica, const Reply& reply, std::size_t nth) {
        std::vector<char> list = Bytes(reply.list);
        const std::vector<char> selection = Bytes(reply.selection);
        bool isTaken = false;
        const recording::FailingAllocation outOfMemory(nth);
        try {
            isTaken = replica.Update(std::move(list), selection).has_value();
        } catch (const std::bad_alloc&) {
            return true;
        }
        EXPECT_TRUE(isTaken) << "allocation " << nth << " made a good reply look bad";
        EXPECT_FALSE(outOfMemory.HasFailed()) << "nobody heard of allocation " << nth;
        return false;
    }

    static void FailEachAllocation(const Reply& from, const Reply& to) {
        for (std::size_t nth = 1;; ++nth) {
            Replica replica;
            replica.Update(Bytes(from.list), Bytes(from.selection));
            const Sight before(replica);
            if (!RunsOut(replica, to, nth)) break;
            ASSERT_EQ(before.content, Sight(replica).content) << "allocation " << nth;
            ASSERT_TRUE(before == Sight(replica)) << "other objects after allocation " << nth;
        }
    }
};

TEST_F(AReplicaWithoutMemory, StaysAsItWas) {
    // Names that are too long for a string to hold without memory of its own.
    const std::string name(40, 'n');
    const std::string other = name + "\\n\t" + name + "\\t\n";
    const std::vector<Reply> replies = {
        {"", "\t\n"},
        {ListOf("a b c d"), ListOf("b")},
        {ListOf("x c y b"), ListOf("y")},
        {name + "\ta\n" + other + ListOf("d"), other},
        {ListOf("d") + other, name + "\t" + name + "\n"},
        {Joined(CrowdedLines(40)) + ListOf("a"), other},
        {ListOf("b") + Joined(CrowdedLines(60)), ListOf("b")},
    };
    for (const Reply& from : replies) {
        for (const Reply& to : replies) FailEachAllocation(from, to);
    }
}

TEST_F(AReplicaWithoutMemory, IsClearedAllTheSame) {
    const Reply outside{ListOf("a b c"), "Outside\toutside\n"};
    const Reply inside{ListOf("a b c"), ListOf("b")};
    const Reply unselected{ListOf("a"), "\t\n"};
    for (const Reply& reply : {outside, inside, unselected}) {
        Replica replica;
        replica.Update(Bytes(reply.list), Bytes(reply.selection));

        const recording::FailingAllocation outOfMemory(1);
        const Replica::Change change = replica.Clear();
        const Replica::Change again = replica.Clear();
        EXPECT_FALSE(outOfMemory.HasFailed());

        const recording::ExemptFromFailing exempt;
        EXPECT_EQ("(/)", Sight(replica).content);
        EXPECT_TRUE(change.items);
        EXPECT_EQ(reply.selection != "\t\n", change.selection);
        EXPECT_FALSE(again.items || again.selection);
    }
}

// ---- What no service sends ----------------------------------------------------------------------

class AReplicaWithItems : public AReplica {
protected:
    AReplicaWithItems() { Take("a b", "b"); }
};

TEST_F(AReplicaWithItems, RefusesHalfAnItem) {
    EXPECT_TRUE(Refuses("A\ta\nB\t", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\nB", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta", "A\ta\n"));
}

TEST_F(AReplicaWithItems, RefusesTextThatIsNoItem) {
    EXPECT_TRUE(Refuses("no tab\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\n\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\ta\tmore\n", "A\ta\n"));
    EXPECT_TRUE(Refuses("A\\x\ta\n", "A\ta\n"));
    EXPECT_TRUE(Refuses(std::string(3, '\0'), "A\ta\n"));
}

TEST_F(AReplicaWithItems, RefusesASelectionThatIsNotOneItem) {
    EXPECT_TRUE(Refuses("A\ta\n", ""));
    EXPECT_TRUE(Refuses("A\ta\n", "A\ta"));
    EXPECT_TRUE(Refuses("A\ta\n", "A\ta\nB\tb\n"));
}

TEST_F(AReplicaWithItems, TakesBytesThatAreNoText) {
    TakeText(std::string("\0\xff\t\x80\n", 5), std::string("\0\xff\t\x80\n", 5));

    EXPECT_EQ(std::string("\0\xff/\x80 (\0\xff/\x80)", 11), Content());
}

TEST_F(AReplicaWithItems, RefusesOneItemTooMany) {
    std::string text;
    for (std::size_t count = 0; count <= Replica::kMaxItems; ++count) text += "\t\n";

    EXPECT_TRUE(Refuses(text, "A\ta\n"));
}

class AReplicaOfManyItems : public AReplica {
protected:
    static constexpr std::size_t kCount = 100000;

    // Returns the processor's time that it takes: that of the clock depends on what else runs.
    std::clock_t CostOfTaking(const std::string& list, std::size_t gone) {
        const std::clock_t before = std::clock();
        const Replica::Change change = TakeText(list, "A\ta\n");
        const std::clock_t cost = std::clock() - before;
        EXPECT_EQ(gone, change.gone.size());
        return cost;
    }

    // What as many items cost that are as different as they can be, all replaced.
    std::clock_t OrdinaryCost() {
        TakeText(Numbered("before "), "A\ta\n");
        return CostOfTaking(Numbered("after "), kCount);
    }

private:
    static std::string Numbered(const std::string& name) {
        std::string text;
        for (std::size_t at = 0; at < kCount; ++at) text += name + "\t" + std::to_string(at) + "\n";
        return text;
    }
};

// A list whose items are all equal, and whose ends change, is cheap for a hostile service to send:
// comparing every item with every other would stop the partner for minutes.
TEST_F(AReplicaOfManyItems, ComparesEqualOnesInTimeThatGrowsWithTheirNumber) {
    std::string same;
    for (std::size_t at = 0; at < kCount; ++at) same += "A\ta\n";
    const std::clock_t ordinary = OrdinaryCost();
    TakeText("X\tx\n" + same + "X\tx\n", "A\ta\n");

    EXPECT_LT(CostOfTaking("Y\ty\n" + same + "Y\ty\n", 2), 30 * ordinary);
}

#if defined(__GLIBCXX__) && SIZE_MAX == UINT64_MAX  // whose hash the next test knows

namespace {

// What the library's hash does with each eight bytes. All of it can be undone.
class HashBlocks {
public:
    static std::uint64_t Start(std::size_t size) { return 0xc70f6907 ^ (size * kFactor); }

    static std::uint64_t Add(std::uint64_t hash, std::uint64_t block) {
        return (hash ^ (Fold(block * kFactor) * kFactor)) * kFactor;
    }

    // Returns the block that brings `hash` to `wanted`.
    static std::uint64_t Between(std::uint64_t hash, std::uint64_t wanted) {
        return Fold(((wanted * Inverse()) ^ hash) * Inverse()) * Inverse();
    }

private:
    static constexpr std::uint64_t kFactor = 0xc6a4a7935bd1e995;

    static std::uint64_t Fold(std::uint64_t value) { return value ^ (value >> 47); }

    // Each round doubles the number of low bits that are right.
    static std::uint64_t Inverse() {
        std::uint64_t inverse = kFactor;
        for (int round = 0; round < 5; ++round) inverse *= 2 - kFactor * inverse;
        return inverse;
    }
};

// Items of sixteen bytes with one hash, others for another first `number` of seven digits.
Texts CollidingLines(std::size_t count, int number) {
    Texts lines;
    for (; lines.size() < count; ++number) {
        std::string line = std::to_string(number) + "\t";
        std::uint64_t block = 0;
        std::memcpy(&block, line.data(), sizeof(block));
        block = HashBlocks::Between(HashBlocks::Add(HashBlocks::Start(16), block), 1);
        line.append(reinterpret_cast<const char*>(&block), sizeof(block));
        const bool isPlain = line.find_first_of("\t\n\\", sizeof(block)) == std::string::npos;
        if (isPlain) lines.push_back(line + "\n");
    }
    return lines;
}

}  // namespace

// So are items that have one hash: a table that finds them by it has them all in one place.
TEST_F(AReplicaOfManyItems, ReplacesThoseWithOneHashInTimeThatHardlyGrowsFasterThanTheirNumber) {
    const Texts before = CollidingLines(kCount, 1000000);
    const Texts after = CollidingLines(kCount, 5000000);
    ASSERT_EQ(HashOf(before.front().substr(0, 16)), HashOf(after.back().substr(0, 16)));
    const std::clock_t ordinary = OrdinaryCost();
    TakeText(Joined(before), "A\ta\n");

    EXPECT_LT(CostOfTaking(Joined(after), kCount), 30 * ordinary);
}

#endif
